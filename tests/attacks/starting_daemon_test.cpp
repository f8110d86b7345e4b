// SPDX-License-Identifier: MIT
//
// A daemon whose start takes long: an upgrade service does not answer its question. It has its
// connections to the bus by then, but not yet the name under which it serves.
#include "attacks/attackers.h"
#include "bus/upgrade_host.h"
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

    /// What a stranger gets who sends something to each of the daemon's connections.
    QStringList answersToEach(const QStringList &options)
    {
        return attackers.run(
            QStringList{"flood", "--answers", "--pid", QString::number(daemon.processId())} +
                options,
            user::ordinary);
    }

    /// The gate's connection and the one that serves.
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
    // The daemon may have closed some of its own meanwhile, as it starts.
    EXPECT_LE(openFilesOf(daemon.processId()), before);
    EXPECT_FALSE(isOwned(serviceName)) << "the start was not held up meanwhile";

    signalUpgradeService(SIGCONT);
    awaitDaemon();
    EXPECT_EQ(call("getEventTotalCount").status, -1) << "no such file";
}

} // namespace
