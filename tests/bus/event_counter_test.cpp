// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"
#include "support/host_files.h"

#include <QFile>

namespace {

class EventCounter : public DaemonHost
{
protected:
    static constexpr const char *statePath = "/var/lib/halvex/var/run/halvex-research.state";
};

TEST_F(EventCounter, AnOrdinaryUsersFrontEndGetsTheTotal)
{
    host::writeFile(statePath, "# state of the research engine\n"
                               "total_events_decoded='1190'\n"
                               "events_processed='1234'\n"
                               "events_dropped='0'\n");
    startDaemon();
    EXPECT_EQ(call("getEventTotalCount", {}, Caller{user::ordinary}), (Reply{0, {"1234"}}));
    EXPECT_EQ(systemLog.takeLines(), QStringList());
}

} // namespace
