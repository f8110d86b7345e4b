// SPDX-License-Identifier: MIT
//
// Front ends in odd states. The daemon judges the process that has connected, in the state it has
// when the daemon looks at it. Neither its earlier state nor the process that uses the connection
// matters.
#include "forgeries/forgery_host.h"
#include "support/host_files.h"
#include "support/stand_in.h"

#include <csignal>

namespace {

class OddCallers : public ForgeryHost
{
protected:
    void SetUp() override
    {
        ForgeryHost::SetUp();
        startDaemon();
    }

    /// Expects that a front end that takes @p steps has the usual rights: an ordinary user may only
    /// read, and an administrator may also change the system.
    void expectJudgedLikeAnyOther(const QStringList &steps)
    {
        expectLetIn(odd(steps + reading, runBy(user::ordinary)));
        EXPECT_EQ(odd(steps + changing, runBy(user::ordinary)), Reply{-999});
        expectNothingDone();
        EXPECT_EQ(odd(steps + changing, runBy(user::wheelMember)), Reply{0});
        EXPECT_EQ(host::standInCalls(), QStringList{"systemctl <restart> <halvex-ebpf>"});
        expectItServes();
    }

    /// Expects that a front end that takes @p steps is refused, even if root runs it.
    void expectRefusedAfter(const QStringList &steps)
    {
        for (const unsigned uid : {user::ordinary, user::root}) {
            expectRefused(odd(steps + reading, runBy(uid)));
            expectRefused(odd(steps + changing, runBy(uid)));
        }
        EXPECT_EQ(systemLog.takeLines().size(), 4);
        expectNothingDone();
        expectItServes();
    }

    /// Starts a front end that stops itself once the bus has its call, and returns when it has
    /// stopped. Another caller must be in the gate meanwhile.
    static pid_t startStopped(QProcess &process, const QStringList &words, unsigned uid)
    {
        const pid_t stopped =
            startOdd(process, QStringList{"pause", "call", "--stop"} + words.mid(1), runBy(uid));
        process.closeWriteChannel();
        EXPECT_TRUE(waitFor([stopped] {
            return host::readFile(QString("/proc/%1/stat").arg(stopped)).contains(") T ");
        }));
        return stopped;
    }
};

TEST_F(OddCallers, WithoutAnyOddStepAreJudgedLikeAnyOther)
{
    expectJudgedLikeAnyOther({});
}

// --- exited processes ---

TEST_F(OddCallers, ThatAreZombiesAreRefused)
{
    expectRefusedAfter({"zombie"});
}

TEST_F(OddCallers, WhoseMainThreadHasExitedAreRefused)
{
    expectRefusedAfter({"leader-exit"});
}

// --- namespaces that change after connecting ---

TEST_F(OddCallers, ThatLeaveTheMountNamespaceAfterConnectingAreRefused)
{
    // Only root may leave the mount namespace without leaving the user namespace too.
    expectRefused(odd(QStringList{"unshare=mnt"} + reading, runBy(user::root)));
    expectRefused(odd(QStringList{"unshare=mnt"} + changing, runBy(user::root)));
    EXPECT_TRUE(daemonMessages().join('\n').contains("Mount namespace mismatch."));
    expectNothingDone();
    expectItServes();
}

TEST_F(OddCallers, ThatEnterAnotherMountNamespaceAfterConnectingAreRefused)
{
    QProcess other;
    other.start("unshare", {"--mount", "sh", "-c", "echo $$; read end"});
    ASSERT_TRUE(other.waitForReadyRead(patienceMs));
    const QString enter = "enter-mount=" + QString::fromUtf8(other.readLine()).trimmed();
    expectRefused(odd(QStringList{enter} + reading, runBy(user::root)));
    expectRefused(odd(QStringList{enter} + changing, runBy(user::root)));
    expectNothingDone();
    // Once the caller is back in the host's mount namespace, it is accepted.
    expectLetIn(odd(QStringList{enter, "enter-mount=1"} + reading, runBy(user::root)));
    other.closeWriteChannel();
    EXPECT_TRUE(other.waitForFinished(patienceMs));
}

TEST_F(OddCallers, ThatLeaveTheUserNamespaceAfterConnectingAreRefused)
{
    expectRefusedAfter({"unshare=user"});
    EXPECT_EQ(daemonMessages().join('\n').count("User namespace mismatch."), 4);
}

TEST_F(OddCallers, ThatLeaveUserAndMountNamespaceAfterConnectingAreRefused)
{
    expectRefusedAfter({"unshare=user", "unshare=mnt"});
}

TEST_F(OddCallers, WhoseChildrenGetANewPidNamespaceAreLetIn)
{
    expectLetIn(odd(QStringList{"unshare=pid"} + reading, runBy(user::root)));
}

// --- stopped, not dumpable and seccomp-confined processes ---

TEST_F(OddCallers, ThatAreStoppedAreJudgedLikeAnyOtherAndBlockNoOtherCaller)
{
    holdGate();
    QProcess held;
    startOdd(held, QStringList{"pause"} + reading, runBy(user::ordinary));
    held.closeWriteChannel();
    awaitHeldGate();
    QProcess reader;
    QProcess refused;
    QProcess administrator;
    const QList<pid_t> stopped{startStopped(reader, reading, user::ordinary),
                               startStopped(refused, changing, user::ordinary),
                               startStopped(administrator, changing, user::wheelMember)};
    releaseGate();
    expectLetIn(finishOdd(held));
    expectItServes();
    EXPECT_EQ(host::standInCalls(), QStringList{"systemctl <restart> <halvex-ebpf>"});
    for (const pid_t process : stopped) {
        EXPECT_EQ(kill(process, SIGCONT), 0);
    }
    expectLetIn(finishOdd(reader));
    EXPECT_EQ(finishOdd(refused), Reply{-999});
    EXPECT_EQ(finishOdd(administrator), Reply{0});
}

TEST_F(OddCallers, ThatAreNotDumpableAreJudgedLikeAnyOther)
{
    expectJudgedLikeAnyOther({"not-dumpable"});
}

TEST_F(OddCallers, ThatAreInStrictSeccompModeAndCallThroughAChildAreJudgedLikeAnyOther)
{
    expectJudgedLikeAnyOther({"strict"});
}

// --- connections that another process uses ---

TEST_F(OddCallers, ThatAreStrangersAreRefusedEvenIfAFrontEndUsesTheirConnection)
{
    const QStringList handOver{"hand-over=/usr/sbin/halvex-desktop"};
    for (const QStringList &steps : {handOver, QStringList{"strict"}}) {
        const Caller stranger{user::root, "/usr/local/bin/stranger"};
        expectRefused(odd(steps + reading, stranger));
        expectRefused(odd(steps + changing, stranger));
    }
    EXPECT_EQ(systemLog.takeLines().size(), 4);
    expectNothingDone();
    expectItServes();
}

} // namespace
