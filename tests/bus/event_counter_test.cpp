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
    // As the engine writes it, for root's eyes only.
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

TEST_F(EventTotal, EachCallReadsTheFileAfresh)
{
    host::writeFile(statePath, "events_processed='1'\n");
    EXPECT_EQ(ask(), (Reply{0, {"1"}}));
    host::writeFile(statePath, "events_processed='2'\n");
    EXPECT_EQ(ask(), (Reply{0, {"2"}}));
    ASSERT_TRUE(QFile::remove(statePath));
    EXPECT_EQ(ask(), (Reply{-1, {""}}));
}

TEST_F(EventTotal, AFileWithoutATotalIsAnEmptySuccess)
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

TEST_F(EventTotal, TheFileIsLeftAsItWas)
{
    host::writeFile(statePath, "events_processed='1234'", 0640);
    EXPECT_EQ(ask(), (Reply{0, {"1234"}}));
    EXPECT_EQ(host::readFile(statePath), "events_processed='1234'");
}

TEST_F(EventTotal, ARefusedCallerLearnsNothing)
{
    host::writeFile(statePath, "events_processed='1234'\n");
    Caller stranger;
    stranger.environment = QStringList{"PYTHONPATH=/srv"};
    EXPECT_EQ(call("getEventTotalCount", {}, stranger), (Reply{-999, {""}}));
}

} // namespace
