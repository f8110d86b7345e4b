// SPDX-License-Identifier: MIT
//
// Callers that hold locks which the kernel must take before it shows these callers below /proc.
#include "attacks/attacked_host.h"
#include "support/host_files.h"

#include <QFile>

namespace {

/// How long a bystander may have to wait for a caller that cannot be read.
constexpr int patienceWithOthersMs = 8000;

struct Way
{
    const char *name;
    QStringList words;            ///< for stuck-process
    bool isSometimesRead = false; ///< when the lock is free for a moment
};

void PrintTo(const Way &way, std::ostream *stream)
{
    *stream << way.name;
}

class UnreadableCaller : public AttackedHost, public testing::WithParamInterface<Way>
{
protected:
    void SetUp() override
    {
        AttackedHost::SetUp();
        if (GetParam().words.contains(Attackers::hangingFile())) {
            attackers.startHangingFile(user::ordinary);
        }
    }

    /// Starts a caller from a front end's path, which makes @p count calls. If the gate could read
    /// the caller, it would accept these calls.
    QProcess &startCaller(int count)
    {
        QProcess &process = attackers.startAsFrontEnd(
            QStringList{"stuck-process"} + GetParam().words +
                QStringList{"--", QString::number(count), bystander::method},
            user::ordinary);
        EXPECT_EQ(linesUntil(process, "calling", patienceMs), QStringList())
            << process.readAllStandardError().constData();
        return process;
    }

    /// Expects @p count answers, each of them a refusal unless the caller could be read.
    static void expectJudged(const QStringList &answers, int count)
    {
        const int served = GetParam().isSometimesRead ? answers.count("status 0") : 0;
        EXPECT_EQ(answers.size(), count);
        EXPECT_EQ(answers.count("status -999") + served, count) << answers.join(' ').toStdString();
    }
};

TEST_P(UnreadableCaller, IsRefusedAndDelaysNobody)
{
    QProcess &caller = startCaller(1);
    EXPECT_TRUE(isServedWithin(patienceWithOthersMs));
    expectJudged(linesUntil(caller, "done", patienceWithOthersMs), 1);
}

TEST_P(UnreadableCaller, DoesNotKeepTheDaemonFromBeingKilled)
{
    QProcess &caller = startCaller(1);
    expectJudged(linesUntil(caller, "done", patienceWithOthersMs), 1);
    startCaller(1);
    expectItCanBeKilled();
}

TEST_P(UnreadableCaller, LeavesNothingBehindHoweverOftenItCalls)
{
    EXPECT_TRUE(isServedWithin(patienceWithOthersMs));
    const int before = tasksOfDaemon();
    QProcess &caller = startCaller(6);
    QProcess &another = startCaller(6);
    for (QProcess *each : {&caller, &another}) {
        expectJudged(linesUntil(*each, "done", patienceMs), 6);
    }
    EXPECT_TRUE(isServedWithin(patienceWithOthersMs));
    EXPECT_TRUE(waitFor([&] { return tasksOfDaemon() <= before; })) << tasksOfDaemon();
}

const Way ways[] = {
    {"HoldingItsMemoryLock", {"memory-lock", Attackers::hangingFile()}},
    {"HoldingItsExecLock", {"exec-lock", Attackers::hangingFile(), bystander::caller.path}},
    {"WithAThreadThatGetsNoProcessor", {"starved", "8"}, true},
};

INSTANTIATE_TEST_SUITE_P(, UnreadableCaller, testing::ValuesIn(ways),
                         [](const auto &way) { return way.param.name; });

// The kernel does not show pages of a file as a process's environment: reading stops there.
TEST_F(AttackedHost, AnEnvironmentThatExtendsIntoAHangingFileDelaysNobody)
{
    attackers.startHangingFile(user::ordinary);
    QProcess &caller = attackers.startAsFrontEnd(
        {"stuck-process", "environment-of", Attackers::hangingFile(), "--", "1", bystander::method},
        user::ordinary);
    EXPECT_EQ(linesUntil(caller, "done", patienceWithOthersMs),
              (QStringList{"calling", "status 0"}));
    EXPECT_TRUE(isServedWithin(patienceWithOthersMs));
}

} // namespace
