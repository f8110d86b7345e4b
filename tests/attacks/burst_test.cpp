// SPDX-License-Identifier: MIT
//
// Bursts of calls on a booted host. Ten seconds after the sender has exited, other callers are
// served, by the same daemon or by one that systemd has started since.
#include "attacks/attackers.h"
#include "attacks/bystander.h"
#include "packaged/installed_host.h"

#include <csignal>

namespace {

constexpr int burstMs = 10000;

class Burst : public InstalledHost
{
protected:
    void SetUp() override
    {
        InstalledHost::SetUp();
        bystander::prepare();
        ASSERT_TRUE(isServedWithin(patienceMs));
    }

    void TearDown() override { attackers.endAll(); }

    static testing::AssertionResult isServedWithin(int timeoutMs)
    {
        return bystander::isServedWithin(
            timeoutMs, frontEndCommand(bystander::caller, {"--json", bystander::method}));
    }

    /// The process id of the owner of the daemon's name; 0 if there is none.
    static int ownerOfName()
    {
        const auto answer =
            host::run({"busctl", "call", "org.freedesktop.DBus", "/", "org.freedesktop.DBus",
                       "GetConnectionUnixProcessID", "s", "com.norva.halvex.desktop"});
        return answer.output.mid(2).trimmed().toInt(); // "u PID"
    }

    Attackers attackers;
};

TEST_F(Burst, OfSmallAndLargeCallsEndsAtMostTenSecondsAfterItsSenderExits)
{
    attackers.run({"flood", "--small", "300", "--large", "4"}, user::ordinary);
    EXPECT_TRUE(isServedWithin(burstMs));
}

TEST_F(Burst, OfThirtyThousandCallsEndsAtMostTenSecondsAfterItsSenderExits)
{
    attackers.run({"flood", "--small", "30000"}, user::ordinary);
    EXPECT_TRUE(isServedWithin(burstMs));
}

TEST_F(Burst, OfCallsByAnUnreadableProcessEndsAtMostTenSecondsAfterItExits)
{
    attackers.startHangingFile(user::ordinary);
    QProcess &sender = attackers.start(
        {"stuck-process", "memory-lock", Attackers::hangingFile(), "--", "+300", bystander::method},
        user::ordinary);
    ASSERT_EQ(linesUntil(sender, "done", patienceMs), QStringList{"calling"});
    EXPECT_TRUE(isServedWithin(2 * burstMs)) << "while the sender still runs";
    attackers.endAll();
    EXPECT_TRUE(isServedWithin(burstMs));
}

TEST_F(Burst, OfCallsWhoseRepliesStayUnreadEndsWithANewDaemon)
{
    const int oldPid = daemonPid();
    QProcess &sender = attackers.start({"unread-replies"}, user::ordinary);
    ASSERT_EQ(linesUntil(sender, "piled up", patienceMs), QStringList());
    // Send nothing to the name until a new daemon owns it: any message to the name would make the
    // bus notice that the old owner has exited.
    EXPECT_TRUE(waitFor([oldPid] {
        const int owner = ownerOfName();
        return owner != 0 && owner != oldPid && owner == daemonPid();
    }));
    EXPECT_TRUE(isServedWithin(burstMs));
    EXPECT_EQ(sender.state(), QProcess::Running);
}

TEST_F(Burst, OfRefusalsDelaysNobodyWhileTheJournalIsStopped)
{
    const QByteArray journal =
        mustRun({"systemctl", "show", "--value", "--property=MainPID", "systemd-journald"});
    ASSERT_EQ(kill(journal.trimmed().toInt(), SIGSTOP), 0);
    // Each call leaves a line in the system log and one on standard error. The journal reads both.
    attackers.run({"flood", "--small", "20000"}, user::ordinary);
    EXPECT_TRUE(isServedWithin(2 * burstMs));
    ASSERT_EQ(kill(journal.trimmed().toInt(), SIGCONT), 0);
    EXPECT_TRUE(isServedWithin(burstMs));
}

} // namespace
