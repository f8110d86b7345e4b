// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"
#include "support/host_files.h"

#include <QFile>

namespace {

class EventTotal : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        startDaemon();
    }

    Reply ask(unsigned uid = user::ordinary)
    {
        Caller caller;
        caller.uid = uid;
        return call("getEventTotalCount", {}, caller);
    }

    static constexpr const char *statePath = "/var/lib/halvex/var/run/halvex-research.state";
};

TEST_F(EventTotal, AnOrdinaryUsersFrontEndGetsTheTotal)
{
    // The engine writes the file like this, readable by root only.
    host::writeFile(statePath,
                    "# State file of the research engine\n"
                    "# Total events decoded\n"
                    "total_events_decoded='1190'\n"
                    "# Events processed (rules matching)\n"
                    "events_processed='1234'\n"
                    "# Events dropped\n"
                    "events_dropped='0'\n",
                    0600);
    EXPECT_EQ(ask(), (Reply{0, {"1234"}}));
    EXPECT_EQ(systemLog.takeLines(), QStringList());
}

TEST_F(EventTotal, EachCallReadsTheFileAgain)
{
    host::writeFile(statePath, "events_processed='1'\n");
    EXPECT_EQ(ask(), (Reply{0, {"1"}}));
    host::writeFile(statePath, "events_processed='2'\n");
    EXPECT_EQ(ask(), (Reply{0, {"2"}}));
    ASSERT_TRUE(QFile::remove(statePath));
    EXPECT_EQ(ask(), (Reply{-1, {""}}));
}

TEST_F(EventTotal, AFileWithoutATotalIsASuccessWithAnEmptyText)
{
    host::writeFile(statePath, "events_processed=1234\n");
    EXPECT_EQ(ask(), (Reply{0, {""}}));
}

TEST_F(EventTotal, AMissingFileIsAFailureWithoutAMessage)
{
    EXPECT_EQ(ask(user::root), (Reply{-1, {""}}));
    EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
    EXPECT_EQ(systemLog.takeLines(), QStringList());
}

TEST_F(EventTotal, TheFileStaysUnchanged)
{
    host::writeFile(statePath, "events_processed='1234'", 0640);
    EXPECT_EQ(ask(), (Reply{0, {"1234"}}));
    EXPECT_EQ(host::readFile(statePath), "events_processed='1234'");
}

TEST_F(EventTotal, ARefusedCallerGetsAnEmptyText)
{
    host::writeFile(statePath, "events_processed='1234'\n");
    Caller stranger;
    stranger.environment = QStringList{"PYTHONPATH=/srv"};
    EXPECT_EQ(call("getEventTotalCount", {}, stranger), (Reply{-999, {""}}));
}

} // namespace
