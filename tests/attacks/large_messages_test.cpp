// SPDX-License-Identifier: MIT
//
// Messages for which the daemon needs several times as much memory as their size. The sanitizers
// keep freed memory, so this is not part of a sanitized build.
#include "attacks/attacked_host.h"
#include "support/process_resources.h"
#include "support/processor_time.h"
#include "support/service_manager.h"

#include <QThread>

#include <sys/resource.h>

namespace {

constexpr int kibPerMib = 1024;

class LargeMessages : public AttackedHost
{
protected:
    void SetUp() override
    {
        AttackedHost::SetUp();
        stopDaemon();
        disableHugePages();
        startDaemon(soundEnvironment + ServiceManager::variables());
    }

    /// Tells whether the daemon serves again, or asks the service manager to restart it. Both are
    /// right: the bus library may stop reading from the bus for good.
    bool servesOrAsksForRestart() const
    {
        return waitFor([this] { return manager.isAskedForRestart() || isServedWithin(500); });
    }

    [[nodiscard]] int mebibytes(const char *field) const
    {
        return memoryOf(daemon.processId(), field) / kibPerMib;
    }

    /// Waits until the daemon, whose gate is blocked, has read all that it reads in this state.
    /// These are messages of more than 63 MiB, which need several times as much memory.
    void awaitMessages() const
    {
        EXPECT_TRUE(waitFor([this] {
            const auto pid = static_cast<pid_t>(daemon.processId());
            const auto before = processorTime(pid);
            QThread::msleep(500);
            return processorTime(pid) == before && mebibytes("VmRSS") > 400;
        })) << mebibytes("VmRSS");
    }

    /// Blocks the gate, runs the attacker @p flood, which stays on the bus, and releases the gate.
    /// Expects that the daemon has needed less than @p maxMib, and that it then serves or asks for
    /// a restart.
    void expectLimitedMemory(const QStringList &flood, int maxMib)
    {
        EXPECT_TRUE(isServedWithin(patienceMs));
        // If the messages took more memory than expected, this limit would protect the tests that
        // run beside this one.
        constexpr rlim_t bytes = 4UL << 30U;
        const rlimit limit = {bytes, bytes};
        ASSERT_EQ(prlimit(static_cast<pid_t>(daemon.processId()), RLIMIT_AS, &limit, nullptr), 0);
        holdTheGate();
        QProcess &sender = attackers.start(flood, user::ordinary);
        ASSERT_EQ(linesUntil(sender, "sent", patienceMs), QStringList());
        awaitMessages();
        releaseTheGate();
        EXPECT_TRUE(servesOrAsksForRestart());
        EXPECT_LT(mebibytes("VmHWM"), maxMib);
    }

    ServiceManager manager;
};

TEST_F(LargeMessages, OfMillionsOfTextsToABlockedDaemonTakeLimitedMemoryAndAreFreedAfterwards)
{
    expectLimitedMemory(
        {"flood", "--member", "setNotifyConfig", "--large", "4", "--list", "4000000", "--stay"},
        1536);
    // A restart, for which the daemon asks again each second, frees the memory too.
    EXPECT_TRUE(waitFor([this] { return mebibytes("VmRSS") < 100 || manager.isAskedForRestart(); }))
        << mebibytes("VmRSS");
}

TEST_F(LargeMessages, OfMillionsOfEmptyListsToABlockedDaemonTakeLimitedMemory)
{
    // Of all arguments that fit into a message, these need the most memory in Qt.
    QStringList flood{"flood", "--member", "setNotifyConfig", "--small", "130000", "--stay"};
    for (int i = 0; i < 127; ++i) {
        flood << "list:";
    }
    expectLimitedMemory(flood, 2560);
}

} // namespace
