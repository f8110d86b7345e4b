// SPDX-License-Identifier: MIT
//
// Large messages that wait for the daemon's start, on a booted host. The bus delivers them before
// it answers the daemon's request for a name, and the bus library stops reading before that answer.
#include "attacks/attackers.h"
#include "attacks/bystander.h"
#include "packaged/installed_host.h"

namespace {

constexpr const char *failedSoon = "Main process exited, code=exited, status=1/FAILURE";

class StartBehindLargeMessages : public InstalledHost
{
protected:
    void SetUp() override
    {
        InstalledHost::SetUp();
        bystander::prepare();
        // The daemon waits 5 s at most for a name; Qt alone would wait 25 s. With these limits,
        // systemd ends only a daemon that waits for 25 s: by TimeoutStartSec until the daemon owns
        // its last name, by the watchdog afterwards. The rest of a start takes 0.1 s; even a
        // machine that is a hundred times as slow stays within the limits.
        addToUnit("TimeoutStartSec=15s\nTimeoutStopSec=5s\nWatchdogSec=15s\n");
    }

    void TearDown() override { attackers.endAll(); }

    static testing::AssertionResult isServed()
    {
        return bystander::isServedWithin(
            patienceMs, frontEndCommand(bystander::caller, {"--json", bystander::method}));
    }

    static void expectNoneWasEnded()
    {
        const QString lines = journal();
        EXPECT_FALSE(lines.contains("Watchdog timeout")) << lines.toStdString();
        EXPECT_FALSE(lines.contains("start operation timed out")) << lines.toStdString();
    }

    Attackers attackers;
};

TEST_F(StartBehindLargeMessages, LargeCallsMakeTheStartFailSoonAndTheNextDaemonServes)
{
    attackers.run({"late-calls", "4"}, user::ordinary);
    EXPECT_TRUE(isServed());
    expectNoneWasEnded();
    // The first daemon's exit status is 1, unless systemd notices first that the daemon lost its
    // name, and stops the daemon.
    EXPECT_EQ(journal().count("Starting halvex-desktop-daemon"), 2);
}

TEST_F(StartBehindLargeMessages, LargeSignalsMakeTheStartFailSoonAndTheNextDaemonServes)
{
    // Sometimes the signals come too late, and are refused.
    for (int i = 0; i < 5 && !journal().contains(failedSoon); ++i) {
        mustRun({"systemctl", "stop", "halvex-desktop-daemon"});
        attackers.run({"early-signals", "4"}, user::ordinary);
        EXPECT_TRUE(isServed());
    }
    EXPECT_TRUE(journal().contains(failedSoon)) << "no signal came in time";
    expectNoneWasEnded();
}

} // namespace
