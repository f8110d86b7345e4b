// SPDX-License-Identifier: MIT
//
// A file or an environment that is larger than the remaining memory. The sanitizers' allocator does
// not throw, so these cases are not part of a sanitized build.
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/settings_paths.h"

#include <QFile>

#include <sys/resource.h>

namespace {

constexpr const char *statePath = "/var/lib/halvex/var/run/halvex-research.state";
using settings::aiPath;
using settings::blockTimePath;
using settings::interventionPath;
using settings::notifyPath;

class MemoryLimit : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        startDaemon();
    }

    /// Lets the daemon allocate only @p mebibytes more than it has now.
    void leaveMemory(rlim_t mebibytes)
    {
        const QByteArray pages =
            host::readFile(QString("/proc/%1/statm").arg(daemon.processId())).split(' ').first();
        setLimit(static_cast<rlim_t>(pages.toULongLong()) * 4096 + (mebibytes << 20U));
    }

    void setLimit(rlim_t bytes)
    {
        const rlimit limit = {bytes, RLIM_INFINITY};
        ASSERT_EQ(prlimit(static_cast<pid_t>(daemon.processId()), RLIMIT_AS, &limit, nullptr), 0);
    }

    const QByteArray padding = QByteArray(64 << 20, '#');
};

TEST_F(MemoryLimit, AnEventTotalAfterALineLargerThanTheMemoryIsAFailure)
{
    host::writeFile(statePath, padding + "\nevents_processed='7'\n");
    leaveMemory(48);
    EXPECT_EQ(call("getEventTotalCount"), (Reply{-1, {""}}));
    setLimit(RLIM_INFINITY);
    EXPECT_EQ(call("getEventTotalCount"), (Reply{0, {"7"}}));
}

TEST_F(MemoryLimit, AnInterventionFileLargerThanTheMemoryIsAFailure)
{
    const QByteArray content = "action \"block\" {\n  enabled = \"1\"\n}\n" + padding;
    host::writeFile(interventionPath, content);
    host::writeFile(blockTimePath, "");
    leaveMemory(48);
    EXPECT_EQ(call("getInterventionConfig", {"block", "enabled"}), (Reply{-1, {""}}));
    EXPECT_EQ(call("setInterventionConfig", {"block", "enabled", "0"}), (Reply{-1}));
    EXPECT_TRUE(host::readFile(interventionPath) == content);
    setLimit(RLIM_INFINITY);
    EXPECT_EQ(call("getInterventionConfig", {"block", "enabled"}), (Reply{0, {"1"}}));
}

TEST_F(MemoryLimit, ANotificationFileLargerThanTheMemoryIsAFailure)
{
    const QByteArray content =
        "<ossec_config><alerts><notify/></alerts><!--" + padding + "--></ossec_config>\n";
    host::writeFile(notifyPath, content);
    leaveMemory(48);
    EXPECT_EQ(call("getNotifyConfig"), (Reply{-1, {"", "", ""}}));
    EXPECT_EQ(call("setNotifyConfig", {"1", "2", "3"}), (Reply{-1}));
    EXPECT_TRUE(host::readFile(notifyPath) == content);
    setLimit(RLIM_INFINITY);
    EXPECT_EQ(call("getNotifyConfig"), (Reply{0, {"", "", ""}}));
}

TEST_F(MemoryLimit, AnAiFileLargerThanTheMemoryIsAFailure)
{
    const QByteArray content = "a: 1\n" + padding + "\n";
    host::writeFile(aiPath, content);
    leaveMemory(48);
    EXPECT_EQ(call("getAiConfig", {"0", "a"}), (Reply{-1, {""}}));
    EXPECT_EQ(call("setAiConfig", {"0", "a", "2"}), (Reply{-1}));
    EXPECT_TRUE(host::readFile(aiPath) == content);
    setLimit(RLIM_INFINITY);
    EXPECT_EQ(call("getAiConfig", {"0", "a"}), (Reply{0, {"1"}}));
}

/// A caller with nearly the largest environment that the kernel allows.
Caller callerWithLargeEnvironment()
{
    constexpr int texts = 60;
    constexpr int textBytes = 100000;
    Caller caller;
    for (int i = 0; i < texts; ++i) {
        caller.environment << QString("T%1=").arg(i) + QString(textBytes, 'x');
    }
    return caller;
}

TEST_F(MemoryLimit, AnEnvironmentLargerThanTheMemoryIsRefused)
{
    // Arguments and environment may take a quarter of the stack, but at most 6 MiB.
    const rlimit stack = {64UL << 20U, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_STACK, &stack), 0);
    host::writeFile(statePath, "events_processed='7'\n");
    const Caller caller = callerWithLargeEnvironment();
    // This call starts the process that reads environments. The limit is set afterwards, and so
    // does not apply to that process.
    ASSERT_EQ(call("getEventTotalCount"), (Reply{0, {"7"}}));
    leaveMemory(1);
    EXPECT_EQ(call("getEventTotalCount", {}, caller), (Reply{-999, {""}}));
    EXPECT_EQ(systemLog.takeLines(),
              QStringList{"<14>halvex-desktop-daemon: The caller has no permission"});
    setLimit(RLIM_INFINITY);
    EXPECT_EQ(call("getEventTotalCount"), (Reply{0, {"7"}}));
    EXPECT_EQ(call("getEventTotalCount", {}, caller), (Reply{0, {"7"}}));
    EXPECT_EQ(systemLog.takeLines(), QStringList());
}

} // namespace
