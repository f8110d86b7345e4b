// SPDX-License-Identifier: MIT
//
// Large messages that wait for the daemon's start, on a booted host. The bus delivers them before
// its answer to the daemon's claim of a name, and the bus library stops reading before that answer.
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
        // The daemon gives its claims up after 5 s at most; Qt would after 25 s. systemd tells the
        // two apart: by its time limit before the daemon has its last name, by the watchdog then.
        // The rest of a start takes 0.1 s, and may take a hundred times as long.
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

TEST_F(StartBehindLargeMessages, OfCallsFailsSoonAndTheNextDaemonServes)
{
    attackers.run({"late-calls", "4"}, user::ordinary);
    EXPECT_TRUE(isServed());
    expectNoneWasEnded();
    // Its exit status is 1, unless systemd sees first that the name is free, and ends it.
    EXPECT_EQ(journal().count("Starting halvex-desktop-daemon"), 2);
}

TEST_F(StartBehindLargeMessages, OfSignalsFailsSoonAndTheNextDaemonServes)
{
    // Now and then the signals come too late, and are refused.
    for (int i = 0; i < 5 && !journal().contains(failedSoon); ++i) {
        mustRun({"systemctl", "stop", "halvex-desktop-daemon"});
        attackers.run({"early-signals", "4"}, user::ordinary);
        EXPECT_TRUE(isServed());
    }
    EXPECT_TRUE(journal().contains(failedSoon)) << "no signal came in time";
    expectNoneWasEnded();
}

} // namespace
