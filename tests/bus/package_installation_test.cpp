// SPDX-License-Identifier: MIT
#include "packages/upgrade_service.h"
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/wait_for.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace {

using testing::ElementsAre;

constexpr const char *started = "dbus service start ";

/// A signal as a front end saw it: its name and its values, JSON.
struct SeenSignal
{
    QString name;
    QJsonArray values;
};

bool operator==(const SeenSignal &left, const SeenSignal &right)
{
    return left.name == right.name && left.values == right.values;
}

void PrintTo(const SeenSignal &seen, std::ostream *stream)
{
    *stream << qPrintable(seen.name) << QJsonDocument(seen.values).toJson().constData();
}

/// The throwaway host with the upgrade service's stand-in.
class PackageInstallation : public DaemonHost
{
protected:
    void SetUp() override
    {
        host::writeFile("/etc/dbus-1/system.d/com.norva.systemupgrade.conf",
                        "<busconfig><policy user=\"root\">"
                        "<allow own=\"com.norva.systemupgrade\"/>"
                        "<allow send_destination=\"com.norva.systemupgrade\"/>"
                        "</policy></busconfig>\n");
        DaemonHost::SetUp();
    }

    void TearDown() override
    {
        stopUpgradeService();
        DaemonHost::TearDown();
    }

    void startUpgradeService(const QStringList &arguments = {})
    {
        upgradeService.start(UPGRADE_SERVICE, arguments);
        ASSERT_TRUE(upgradeService.waitForReadyRead(patienceMs))
            << upgradeService.readAllStandardError().constData();
        ASSERT_EQ(upgradeService.readAllStandardOutput(), "ready\n");
    }

    void stopUpgradeService()
    {
        upgradeService.kill();
        upgradeService.waitForFinished();
    }

    /// Gives the stand-in an order, and returns its answer if it gives one.
    static QVariant order(const char *member, const QVariantList &arguments = {})
    {
        auto message = QDBusMessage::createMethodCall("com.norva.systemupgrade", "/control",
                                                      "com.norva.systemupgrade.control", member);
        message.setArguments(arguments);
        const QDBusMessage reply =
            QDBusConnection::systemBus().call(message, QDBus::Block, patienceMs);
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << qPrintable(reply.errorMessage());
        return reply.arguments().value(0);
    }

    static void replyWith(const QVariantList &values) { order("replyWith", {QVariant(values)}); }

    /// The messages since the daemon's start.
    static QStringList messagesOfTheCall()
    {
        const QStringList messages = daemonMessages();
        EXPECT_EQ(messages.value(0), started);
        return messages.mid(1);
    }

    /// Starts a front end that shows the next @p count signals, and waits until it listens.
    static void listen(QProcess &listener, int count, unsigned uid = user::ordinary)
    {
        const QStringList command =
            frontEndCommand(Caller{uid}, {"--json", "--listen", QString::number(count)});
        listener.start(command.first(), command.mid(1));
        ASSERT_TRUE(listener.waitForReadyRead(patienceMs));
        ASSERT_TRUE(listener.readLine().contains("listening"));
    }

    /// Waits until @p listener has seen its number of signals.
    static QList<SeenSignal> signalsSeenBy(QProcess &listener)
    {
        EXPECT_TRUE(listener.waitForFinished(patienceMs));
        QList<SeenSignal> seen;
        for (const QByteArray &line : listener.readAllStandardOutput().split('\n')) {
            if (!line.isEmpty()) {
                const QJsonObject object = QJsonDocument::fromJson(line).object();
                seen << SeenSignal{object["member"].toString(), object["values"].toArray()};
            }
        }
        return seen;
    }

    QProcess upgradeService;
};

TEST_F(PackageInstallation, ThePackagesGoToTheServiceAndItsFirstValueComesBack)
{
    startUpgradeService();
    startDaemon();
    replyWith({7, "accepted"});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai", "norva.ai.dga.detect"}), (Reply{7}));
    EXPECT_EQ(order("lastRequest").toStringList(),
              (QStringList{"halvex-net-ai", "norva.ai.dga.detect"}));
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"receive message (QVariant(int, 7), QVariant(QString, \"accepted\"))"});
    EXPECT_EQ(systemLog.takeLines(), QStringList());
}

TEST_F(PackageInstallation, AMemberOfWheelMayInstall)
{
    startUpgradeService();
    startDaemon();
    replyWith({0, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}, Caller{user::wheelMember}), (Reply{0}));
    EXPECT_EQ(order("requests").toInt(), 1);
}

TEST_F(PackageInstallation, NamesArePassedOnExactlyAsReceived)
{
    startUpgradeService();
    startDaemon();
    replyWith({0, ""});
    EXPECT_EQ(call("installPackages", {" halvex.net.ai ", "halvex-net-ai", "halvex-net-ai"}),
              (Reply{0}));
    EXPECT_EQ(order("lastRequest").toStringList(),
              (QStringList{" halvex.net.ai ", "halvex-net-ai", "halvex-net-ai"}));
}

TEST_F(PackageInstallation, MoreThanTwoValuesAreAnAnswerToo)
{
    startUpgradeService();
    startDaemon();
    replyWith({-42, true, "x"});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-42}));
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"receive message (QVariant(int, -42), QVariant(bool, true), "
                          "QVariant(QString, \"x\"))"});
}

TEST_F(PackageInstallation, AFirstValueThatIsNoNumberCountsAsZero)
{
    startUpgradeService();
    startDaemon();
    replyWith({"accepted", 7});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{0}));
    replyWith({QStringList{"3"}, 7});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{0}));
    EXPECT_EQ(messagesOfTheCall(),
              (QStringList{"receive message (QVariant(QString, \"accepted\"), QVariant(int, 7))",
                           "receive message (QVariant(QStringList, (\"3\")), QVariant(int, 7))"}));
}

TEST_F(PackageInstallation, AFirstValueThatReadsAsANumberIsTaken)
{
    startUpgradeService();
    startDaemon();
    replyWith({"12", ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{12}));
}

TEST_F(PackageInstallation, AFirstValueOfAnotherTypeIsConverted)
{
    startUpgradeService();
    startDaemon();
    replyWith({true, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{1}));
    replyWith({qlonglong{-9}, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-9}));
    replyWith({4.6, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{5}));
    replyWith({QVariant::fromValue(QDBusVariant(3)), ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{0}));
    EXPECT_EQ(messagesOfTheCall().size(), 4);
}

TEST_F(PackageInstallation, ASingleValueIsNoUsableAnswer)
{
    startUpgradeService();
    startDaemon();
    replyWith({7});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-2}));
    EXPECT_EQ(messagesOfTheCall(), QStringList{"no receive reply message"});
    EXPECT_EQ(order("requests").toInt(), 1);
}

TEST_F(PackageInstallation, AnEmptyReplyIsNoUsableAnswer)
{
    startUpgradeService();
    startDaemon();
    replyWith({});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-2}));
    EXPECT_EQ(messagesOfTheCall(), QStringList{"no receive reply message"});
}

TEST_F(PackageInstallation, AnErrorIsAFailureWithItsText)
{
    startUpgradeService();
    startDaemon();
    order("replyWithError",
          {"com.norva.systemupgrade.Error.Busy", "another installation is under way"});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"Error occurred: \"another installation is under way\""});
}

TEST_F(PackageInstallation, AServiceThatLeavesInTheMiddleOfTheCallIsAFailure)
{
    startUpgradeService();
    startDaemon();
    order("leaveWhenCalled");
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"Error occurred: \"Message recipient disconnected from message bus "
                          "without replying\""});
    // The daemon goes on, and finds the service that takes the other's place.
    stopUpgradeService();
    startUpgradeService();
    replyWith({3, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{3}));
}

TEST_F(PackageInstallation, AServiceThatIsNotRunningIsAFailure)
{
    startDaemon();
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"Error occurred: \"The name com.norva.systemupgrade was not provided by "
                          "any .service files\""});
}

TEST_F(PackageInstallation, WithoutTheServiceItsTwoSignalsAreUnknownAndThatIsAll)
{
    startDaemon();
    QString messages = host::readFile("/run/daemon.err");
    messages.remove(QRegularExpression(" in \\S+upgrade_service\\.cpp:\\d+")); // of a debug build
    EXPECT_EQ(messages,
              "QObject::connect: No such signal "
              "QDBusAbstractInterface::InstalldebStatusChanged(int,QString,QString)\n"
              "QObject::connect: No such signal "
              "QDBusAbstractInterface::UpdateInstallFinished(bool, QStringList, QString, QString)\n"
              "dbus service start \n\n");
}

TEST_F(PackageInstallation, AServiceThatComesLaterIsCalledButNotHeard)
{
    startDaemon();
    startUpgradeService();
    replyWith({5, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{5}));
    QProcess listener;
    listen(listener, 1);
    order("emitProgress", {50, "installing", "halvex-net-ai"});
    // The daemon has served a call since; had it heard the signal, it would have relayed it.
    EXPECT_EQ(call("installPackages"), (Reply{-1}));
    stopDaemon();
    startDaemon();
    order("emitProgress", {60, "installing", "halvex-net-ai"});
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(SeenSignal{"installProgress", {60, "installing", "halvex-net-ai"}}));
}

TEST_F(PackageInstallation, AMethodDeclaredWithoutReplyIsNotWaitedFor)
{
    startUpgradeService({"--never-replies"});
    startDaemon();
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-3}));
    EXPECT_EQ(messagesOfTheCall(), QStringList());
}

TEST_F(PackageInstallation, AnEmptyListNeverReachesTheService)
{
    startUpgradeService();
    startDaemon();
    EXPECT_EQ(call("installPackages"), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(),
              (QStringList{"No packages to install", "Invalid package list: ()"}));
    EXPECT_EQ(order("requests").toInt(), 0);
}

TEST_F(PackageInstallation, AListWithAStrangerNeverReachesTheService)
{
    startUpgradeService();
    startDaemon();
    EXPECT_EQ(call("installPackages", {"halvex-net-ai", " bash"}), (Reply{-1}));
    const QStringList messages = messagesOfTheCall();
    ASSERT_EQ(messages.size(), 2);
    EXPECT_TRUE(messages[0].startsWith("Installation rejected: invalid package(s) found: "
                                       "(\" bash\") . Allowed packages are: (\""))
        << qPrintable(messages[0]);
    EXPECT_EQ(messages[1], "Invalid package list: (\"halvex-net-ai\", \" bash\")");
    EXPECT_EQ(order("requests").toInt(), 0);
}

TEST_F(PackageInstallation, ARefusedCallerReachesNothing)
{
    startUpgradeService();
    startDaemon();
    replyWith({0, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}, Caller{user::ordinary}), (Reply{-999}));
    EXPECT_EQ(systemLog.takeLines(),
              QStringList{"<14>halvex-desktop-daemon: The caller has no permission"});
    EXPECT_EQ(order("requests").toInt(), 0);
}

TEST_F(PackageInstallation, AServerEditionHasNoUpgradeService)
{
    host::writeFile("/etc/os-release", "PRETTY_NAME=\"Norva Server\"\n");
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 1);
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(), QStringList{"no found SystemUpdateInterface"});
    EXPECT_EQ(order("requests").toInt(), 0);
    order("emitProgress", {50, "installing", "halvex-net-ai"});
    // The daemon has served a call since; had it heard the signal, it would have relayed it.
    EXPECT_EQ(call("installPackages"), (Reply{-1}));
    stopDaemon();
    host::writeFile("/etc/os-release", "PRETTY_NAME=\"Norva Desktop\"\n");
    startDaemon();
    order("emitProgress", {60, "installing", "halvex-net-ai"});
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(SeenSignal{"installProgress", {60, "installing", "halvex-net-ai"}}));
}

TEST_F(PackageInstallation, ProgressReachesEveryListenerUnchangedAndInOrder)
{
    startUpgradeService();
    startDaemon();
    QProcess first;
    QProcess second;
    listen(first, 3);
    listen(second, 3, user::root);
    order("emitProgress", {0, "downloading", "halvex-net-ai 1.0 – 12 MB"});
    order("emitProgress", {-1, "", ""});
    order("emitProgress", {100, "done", "\n"});
    const auto expected =
        ElementsAre(SeenSignal{"installProgress", {0, "downloading", "halvex-net-ai 1.0 – 12 MB"}},
                    SeenSignal{"installProgress", {-1, "", ""}},
                    SeenSignal{"installProgress", {100, "done", "\n"}});
    EXPECT_THAT(signalsSeenBy(first), expected);
    EXPECT_THAT(signalsSeenBy(second), expected);
    EXPECT_EQ(messagesOfTheCall(), QStringList());
}

TEST_F(PackageInstallation, AnEndInFailureIsDescribed)
{
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 2);
    const QStringList packages{"halvex-net-ai", "halvex.net.ai"};
    order("emitFinished", {false, packages, "#0204", "no space left on /"});
    order("emitFinished", {false, QStringList{}, "#7777", ""});
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(SeenSignal{"installFinished",
                                       {1, QJsonArray{"halvex-net-ai", "halvex.net.ai"},
                                        "Insufficient disk space", "no space left on /"}},
                            SeenSignal{"installFinished", {1, QJsonArray{}, "Unknown error", ""}}));
}

TEST_F(PackageInstallation, AnEndInSuccessIsZeroAndStillLooksItsCodeUp)
{
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 2);
    order("emitFinished", {true, QStringList{"halvex-net-ai"}, "", "fine"});
    order("emitFinished", {true, QStringList{"halvex-net-ai"}, "#0219", ""});
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(SeenSignal{"installFinished",
                                       {0, QJsonArray{"halvex-net-ai"}, "Unknown error", "fine"}},
                            SeenSignal{"installFinished",
                                       {0, QJsonArray{"halvex-net-ai"},
                                        "Dependencies are not satisfied", ""}}));
}

TEST_F(PackageInstallation, SignalsGoOnAfterTheServiceWasRestarted)
{
    startUpgradeService();
    startDaemon();
    stopUpgradeService();
    startUpgradeService();
    QProcess listener;
    listen(listener, 1);
    order("emitProgress", {50, "installing", "halvex-net-ai"});
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(SeenSignal{"installProgress", {50, "installing", "halvex-net-ai"}}));
}

TEST_F(PackageInstallation, StrangersCannotSpeakForTheService)
{
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 1);
    auto forged = QDBusMessage::createSignal(
        "/com/norva/systemupgrade", "com.norva.systemupgrade.interface", "InstalldebStatusChanged");
    forged.setArguments({1, "forged", ""});
    ASSERT_TRUE(QDBusConnection::systemBus().send(forged));
    order("emitProgress", {2, "real", ""});
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(SeenSignal{"installProgress", {2, "real", ""}}));
}

/// The proxy alone, in the test's own process, with a time-out that a test can wait for.
class UpgradeServiceProxy : public PackageInstallation
{
protected:
    void SetUp() override
    {
        PackageInstallation::SetUp();
        daemonMayEnd = true;
    }
};

TEST_F(UpgradeServiceProxy, ItWaitsForTheBussDefaultTime)
{
    startUpgradeService();
    QObject receiver;
    const auto proxy = halvex::connectUpgradeService(&receiver);
    ASSERT_NE(proxy, nullptr);
    EXPECT_EQ(proxy->timeout(), -1);
    EXPECT_EQ(proxy->parent(), nullptr);
}

TEST_F(UpgradeServiceProxy, SilencePastTheTimeOutIsAFailure)
{
    startUpgradeService();
    QObject receiver;
    const auto proxy = halvex::connectUpgradeService(&receiver);
    ASSERT_NE(proxy, nullptr);
    proxy->setTimeout(300);
    const MessageLog log;
    EXPECT_EQ(halvex::installPackages(proxy.get(), {"halvex-net-ai"}), -1);
    EXPECT_EQ(log.messages(),
              QStringList{"debug: Error occurred: \"Did not receive a reply. Possible causes "
                          "include: the remote application did not send a reply, the message bus "
                          "security policy blocked the reply, the reply timeout expired, or the "
                          "network connection was broken.\""});
    EXPECT_EQ(order("requests").toInt(), 1);
}

TEST_F(UpgradeServiceProxy, WithoutABusThereIsNone)
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/no-such-bus");
    QObject receiver;
    const MessageLog log;
    const auto proxy = halvex::connectUpgradeService(&receiver);
    EXPECT_EQ(proxy, nullptr);
    EXPECT_EQ(halvex::installPackages(proxy.get(), {"halvex-net-ai"}), -1);
    EXPECT_EQ(log.messages(), QStringList{"debug: no found SystemUpdateInterface"});
}

TEST_F(UpgradeServiceProxy, ARejectedListIsAWarningAndIsJudgedBeforeTheProxyIsMissed)
{
    const MessageLog log;
    EXPECT_EQ(halvex::installPackages(nullptr, {"bash"}), -1);
    ASSERT_EQ(log.messages().size(), 2);
    EXPECT_TRUE(log.messages()[0].startsWith("warning: Installation rejected: "));
    EXPECT_EQ(log.messages()[1], "warning: Invalid package list: (\"bash\")");
    EXPECT_EQ(halvex::installPackages(nullptr, {"halvex-net-ai"}), -1);
    EXPECT_EQ(log.messages().last(), "debug: no found SystemUpdateInterface");
}

} // namespace
