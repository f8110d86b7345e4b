// SPDX-License-Identifier: MIT
//
// Messages that take a multiple of their size in the daemon. The sanitizers keep what is freed, so
// this is not part of a sanitized build.
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
        startDaemon(soundEnvironment + ServiceManager::variables());
    }

    /// Tells whether the daemon serves again, or asks the service manager for a new one: the bus
    /// library may not begin to read again once it has stopped.
    bool servesOrAsksForItsEnd() const
    {
        return waitFor([this] {
            QByteArray message;
            while (!(message = manager.nextMessage(0)).isEmpty()) {
                if (message == "WATCHDOG=trigger") {
                    return true;
                }
            }
            return bool(isServedWithin(500));
        });
    }

    [[nodiscard]] int mebibytes(const char *field) const
    {
        return memoryOf(daemon.processId(), field) / kibPerMib;
    }

    /// Waits until the daemon, whose gate is held, has read what it reads meanwhile.
    void awaitMessages() const
    {
        EXPECT_TRUE(waitFor([this] {
            const auto pid = static_cast<pid_t>(daemon.processId());
            const auto before = processorTime(pid);
            QThread::msleep(500);
            return processorTime(pid) == before && mebibytes("VmRSS") > 100;
        })) << mebibytes("VmRSS");
    }

    ServiceManager manager;
};

TEST_F(LargeMessages, OfMillionsOfTextsToADaemonThatIsHeldUpTakeLimitedMemoryAndNoneForLong)
{
    EXPECT_TRUE(isServedWithin(patienceMs));
    // Should it take more, this host's other tests must not suffer.
    constexpr rlim_t bytes = 4UL << 30U;
    const rlimit limit = {bytes, bytes};
    ASSERT_EQ(prlimit(static_cast<pid_t>(daemon.processId()), RLIMIT_AS, &limit, nullptr), 0);
    holdTheGate();
    QProcess &sender = attackers.start(
        {"flood", "--member", "setNotifyConfig", "--large", "4", "--list", "4000000", "--stay"},
        user::ordinary);
    ASSERT_EQ(linesUntil(sender, "sent", patienceMs), QStringList());
    awaitMessages();
    releaseTheGate();
    EXPECT_TRUE(servesOrAsksForItsEnd());
    EXPECT_LT(mebibytes("VmHWM"), 1536);
    EXPECT_TRUE(waitFor([this] { return mebibytes("VmRSS") < 100; })) << mebibytes("VmRSS");
}

} // namespace
