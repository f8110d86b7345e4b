// SPDX-License-Identifier: MIT
//
// A daemon whose start takes long, because the upgrade service does not answer its question. The
// daemon has its connections to the bus already, but does not own its service name yet.
#include "attacks/attackers.h"
#include "bus/upgrade_host.h"
#include "support/command.h"
#include "support/host_files.h"
#include "support/process_resources.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>

#include <csignal>

namespace {

constexpr const char *serviceName = "com.norva.halvex.desktop";
constexpr const char *startName = "com.norva.halvex.desktop.start";

class StartingDaemon : public UpgradeHost
{
protected:
    void SetUp() override
    {
        UpgradeHost::SetUp();
        startUpgradeService();
        signalUpgradeService(SIGSTOP);
        launchDaemon();
        ASSERT_TRUE(waitFor([] { return isOwned(startName); }));
        ASSERT_FALSE(isOwned(serviceName));
    }

    void TearDown() override
    {
        attackers.endAll();
        UpgradeHost::TearDown();
    }

    void signalUpgradeService(int signal)
    {
        ASSERT_EQ(kill(static_cast<pid_t>(upgradeService.processId()), signal), 0);
    }

    static bool isOwned(const char *name)
    {
        return QDBusConnection::systemBus().interface()->isServiceRegistered(name).value();
    }

    /// The answers to a stranger who sends a message to each of the daemon's connections.
    QStringList answersToEach(const QStringList &options)
    {
        return attackers.run(
            QStringList{"flood", "--answers", "--pid", QString::number(daemon.processId())} +
                options,
            user::ordinary);
    }

    /// The bus's answers to a message to the gate's connection and to one to the main connection.
    const QStringList bothDeny{"error org.freedesktop.DBus.Error.AccessDenied",
                               "error org.freedesktop.DBus.Error.AccessDenied"};
    Attackers attackers;
};

TEST_F(StartingDaemon, GetsNeitherDescriptorsNorSignalsOfStrangers)
{
    const int before = openFilesOf(daemon.processId());
    for (const char *count : {"1", "16"}) {
        const QStringList descriptors{"--descriptors", "/dev/null", count};
        EXPECT_EQ(answersToEach(descriptors), bothDeny) << count;
        EXPECT_EQ(answersToEach(descriptors + QStringList{"--signal"}), bothDeny) << count;
    }
    EXPECT_EQ(answersToEach({"--signal"}), bothDeny);
    // The daemon may have closed some of its own descriptors meanwhile, because it is starting.
    EXPECT_LE(openFilesOf(daemon.processId()), before);
    EXPECT_FALSE(isOwned(serviceName)) << "the start did not wait for the upgrade service";

    signalUpgradeService(SIGCONT);
    awaitDaemon();
    // The file with the count does not exist.
    EXPECT_EQ(call("getEventTotalCount").status, -1);
}

TEST_F(StartingDaemon, GetsNoDescriptorsEvenIfTheHostAllowsAllCalls)
{
    // The bus reads this file before those of the single services.
    host::writeFile("/etc/dbus-1/system.conf",
                    "<busconfig><policy context=\"default\"><allow send_type=\"method_call\"/>"
                    "</policy></busconfig>\n");
    ASSERT_EQ(host::run({"dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus",
                         "/org/freedesktop/DBus", "org.freedesktop.DBus.ReloadConfig"})
                  .exitCode,
              0);
    for (const char *count : {"1", "16"}) {
        EXPECT_EQ(answersToEach({"--descriptors", "/dev/null", count}), bothDeny) << count;
    }
}

} // namespace
