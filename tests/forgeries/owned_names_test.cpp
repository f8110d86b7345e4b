// SPDX-License-Identifier: MIT
//
// Users who try to own the bus names of the daemon or the upgrade service, or who forge signals of
// the upgrade service.
#include "forgeries/forgery_host.h"
#include "support/host_files.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace {

constexpr const char *daemonName = "com.norva.halvex.desktop";
constexpr const char *serviceName = "com.norva.systemupgrade";
const QStringList namesOfPrograms{daemonName, "com.norva.halvex.desktop.gate",
                                  "com.norva.halvex.desktop.start", serviceName};

class OwnedNames : public ForgeryHost
{
protected:
    void SetUp() override
    {
        host::writeFile("/etc/dbus-1/system.d/com.norva.systemupgrade.conf",
                        "<busconfig><policy user=\"root\">"
                        "<allow own=\"com.norva.systemupgrade\"/>"
                        "<allow send_destination=\"com.norva.systemupgrade\"/>"
                        "</policy></busconfig>\n");
        ForgeryHost::SetUp();
    }

    void TearDown() override
    {
        upgradeService.kill();
        upgradeService.waitForFinished();
        ForgeryHost::TearDown();
    }

    void startUpgradeService()
    {
        upgradeService.start(UPGRADE_SERVICE, QStringList());
        ASSERT_TRUE(upgradeService.waitForReadyRead(patienceMs))
            << upgradeService.readAllStandardError().constData();
    }

    /// Calls a control method of the upgrade service's stand-in.
    static QVariant order(const char *member, const QVariantList &arguments = {})
    {
        auto message = QDBusMessage::createMethodCall(serviceName, "/control",
                                                      "com.norva.systemupgrade.control", member);
        message.setArguments(arguments);
        const auto reply = QDBusConnection::systemBus().call(message, QDBus::Block, patienceMs);
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << qPrintable(reply.errorMessage());
        return reply.arguments().value(0);
    }

    static void expectNamesAreRefused()
    {
        for (const QString &name : namesOfPrograms) {
            expectNameIsRefused(name);
        }
    }

    /// Requests @p name with all flags as users other than root, and expects the bus to refuse.
    static void expectNameIsRefused(const QString &name)
    {
        for (const unsigned uid : {user::ordinary, user::wheelMember, user::secAdmin}) {
            // All combinations of: allow replacement, replace the owner, do not wait in the queue.
            for (int flags = 0; flags < 8; ++flags) {
                const auto result = host::run(frontEndCommand(
                    Caller{uid, "/usr/bin/dbus-send"},
                    {"--system", "--print-reply=literal", "--dest=org.freedesktop.DBus",
                     "/org/freedesktop/DBus", "org.freedesktop.DBus.RequestName", "string:" + name,
                     QString("uint32:%1").arg(flags)}));
                EXPECT_TRUE(
                    result.errors.startsWith("Error org.freedesktop.DBus.Error.AccessDenied: "))
                    << qPrintable(name) << ", " << uid << ", " << flags << ": "
                    << result.output.constData() << result.errors.constData();
            }
        }
    }

    /// Sends a signal as an ordinary user, and returns once the bus has passed it on.
    static void forgeSignal(const QStringList &words)
    {
        const auto result = host::run(
            frontEndCommand(Caller{user::ordinary, FORGER}, QStringList{"signal"} + words));
        EXPECT_EQ(result.output, "sent\n") << result.errors.constData();
    }

    /// Sends the upgrade service's two signals as an ordinary user: as broadcasts and to the
    /// daemon.
    static void forgeBothSignals()
    {
        for (const char *destination : {"-", daemonName}) {
            const QStringList head{destination, "/com/norva/systemupgrade",
                                   "com.norva.systemupgrade.interface"};
            forgeSignal(head + QStringList{"InstalldebStatusChanged", "i=66", "s=forged", "s="});
            forgeSignal(head +
                        QStringList{"UpdateInstallFinished", "b=1", "as=forged", "s=#0204", "s="});
        }
    }

    /// Waits until the front end @p listener exits, and returns the signals that it has shown.
    static QByteArray shownBy(QProcess &listener)
    {
        EXPECT_TRUE(listener.waitForFinished(patienceMs));
        return listener.readAllStandardOutput();
    }

    void listen(QProcess &listener, int count)
    {
        const QStringList command = frontEndCommand(Caller{user::root, frontEndPaths.first()},
                                                    {"--listen", QString::number(count)});
        listener.start(command.first(), command.mid(1));
        ASSERT_TRUE(listener.waitForReadyRead(patienceMs));
        ASSERT_EQ(listener.readLine(), "listening\n");
    }

    QProcess upgradeService;
};

TEST_F(OwnedNames, CannotBeAcquiredByUsersWhetherOwnedOrFree)
{
    expectNamesAreRefused();
    startUpgradeService();
    startDaemon();
    expectNamesAreRefused();
    expectItServes();
    order("replyWith", {QVariant(QVariantList{7, "accepted"})});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}, Caller{user::root, frontEndPaths.first()}),
              (Reply{7}));
    EXPECT_EQ(order("requests").toInt(), 1);
}

TEST_F(OwnedNames, ForgedUpgradeSignalsOfAUserAreNotRelayed)
{
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 2);
    order("emitProgress", {1, "first", ""});
    forgeBothSignals();
    expectItServes();
    order("emitProgress", {2, "last", ""});
    EXPECT_EQ(shownBy(listener),
              "installProgress\n  percent = 1\n  status = \"first\"\n  details = \"\"\n"
              "installProgress\n  percent = 2\n  status = \"last\"\n  details = \"\"\n");
}

TEST_F(OwnedNames, ForgedUpgradeSignalsAreNotRelayedWithoutAnUpgradeService)
{
    startDaemon();
    QProcess listener;
    listen(listener, 1);
    forgeBothSignals();
    expectItServes();
    // This signal ends the listening front end, which does not check a signal's sender. It arrives
    // after all signals of the daemon.
    forgeSignal({"-", object, interface, "installProgress", "i=3", "s=end", "s="});
    EXPECT_EQ(shownBy(listener),
              "installProgress\n  percent = 3\n  status = \"end\"\n  details = \"\"\n");
}

} // namespace
