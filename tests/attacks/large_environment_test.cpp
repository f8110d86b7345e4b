// SPDX-License-Identifier: MIT
//
// Environments that are larger than the kernel allows at the start of a program, and the largest
// environment that it allows. The sanitizers keep freed memory, so these cases are not part of a
// sanitized build.
#include "attacks/attacked_host.h"
#include "support/process_resources.h"

#include <sys/resource.h>

namespace {

constexpr int maxMemoryKib = 200 * 1024;

class LargeEnvironment : public AttackedHost
{
protected:
    /// The answer to a front end whose environment is @p bytes of memory that it never touched.
    std::string answerWith(const char *bytes, const QStringList &call)
    {
        QProcess &caller = attackers.startAsFrontEnd(
            QStringList{"stuck-process", "environment", bytes, "--", "1"} + call,
            user::wheelMember);
        return linesUntil(caller, "done", patienceMs).join(' ').toStdString();
    }
};

TEST_F(LargeEnvironment, IsRefusedAndNotKeptInMemory)
{
    EXPECT_TRUE(isServedWithin(patienceMs));
    EXPECT_EQ(answerWith("67108864", {bystander::method}), "calling status -999");
    EXPECT_LT(memoryOf(daemon.processId(), "VmHWM"), maxMemoryKib);
}

TEST_F(LargeEnvironment, OfGigabytesIsRefusedAndNotKeptInMemory)
{
    // If the daemon kept the environment nevertheless, this limit would protect the tests that run
    // beside this one.
    constexpr rlim_t bytes = 2UL << 30U;
    const rlimit limit = {bytes, bytes};
    ASSERT_EQ(prlimit(static_cast<pid_t>(daemon.processId()), RLIMIT_AS, &limit, nullptr), 0);
    EXPECT_EQ(answerWith("8589934592", {bystander::method}), "calling status -999");
    EXPECT_LT(memoryOf(daemon.processId(), "VmHWM"), maxMemoryKib);
    EXPECT_TRUE(isServedWithin(patienceMs));
}

/// The answer to the front end @p command, started with the largest environment that the kernel
/// allows, whose last variable is @p last.
Reply answerWithLargestEnvironment(const QStringList &command, const QString &last)
{
    constexpr int textBytes = 100000;
    constexpr int texts = 60; // with the rest, a little less than 6 MiB
    QStringList environment{"PATH=/usr/sbin:/usr/bin:/sbin:/bin"};
    for (int i = 0; i < texts; ++i) {
        environment << QString("T%1=").arg(i) + QString(textBytes, 'x');
    }
    const auto result = host::run(command, environment << last);
    EXPECT_NE(result.output, "") << result.errors.constData();
    return parseReply(result.output);
}

TEST_F(LargeEnvironment, OfTheLargestPossibleSizeIsJudgedLikeAnyOther)
{
    // Arguments and environment may take a quarter of the stack limit, but 6 MiB at most.
    const rlimit limit = {64UL << 20U, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_STACK, &limit), 0);
    const QStringList command = frontEndCommand(bystander::caller, {"--json", bystander::method});
    EXPECT_EQ(answerWithLargestEnvironment(command, "LAST=1"), bystander::served);
    EXPECT_EQ(answerWithLargestEnvironment(command, "ENV=1"), (Reply{-999, {""}}));
    EXPECT_LT(memoryOf(daemon.processId(), "VmHWM"), maxMemoryKib);
}

} // namespace
