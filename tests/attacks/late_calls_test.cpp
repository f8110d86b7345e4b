// SPDX-License-Identifier: MIT
//
// Large calls that are there before the daemon runs, on a booted host. The bus delivers them before
// it answers the daemon's claim of its name, and the bus library stops reading before that answer.
#include "attacks/attackers.h"
#include "attacks/bystander.h"
#include "packaged/installed_host.h"

namespace {

class LateCalls : public InstalledHost
{
protected:
    void TearDown() override { attackers.endAll(); }

    Attackers attackers;
};

TEST_F(LateCalls, AStartBehindThemFailsSoonAndTheNextDaemonServes)
{
    bystander::prepare();
    // The daemon gives its claim up after 5 s; Qt would after 25 s. The watchdog tells the two
    // apart. Until the claim, a start takes 0.1 s; it may take a hundred times as long.
    addToUnit("WatchdogSec=15s\n");
    attackers.run({"late-calls", "4"}, user::ordinary);
    EXPECT_TRUE(bystander::isServedWithin(
        patienceMs, frontEndCommand(bystander::caller, {"--json", bystander::method})));
    EXPECT_TRUE(journal().contains("Main process exited, code=exited, status=1/FAILURE"))
        << journal().toStdString();
    EXPECT_FALSE(journal().contains("Watchdog timeout")) << "it has not failed soon";
}

} // namespace
