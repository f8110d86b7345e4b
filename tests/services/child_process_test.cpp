// SPDX-License-Identifier: MIT
//
// What happens to a child process, and to the next one, when a system call fails. The functions
// below replace those of the C library, also for Qt, and fail when a test says so.
#include "services/service_control.h"
#include "services/service_status.h"
#include "support/host_files.h"
#include "support/process_resources.h"
#include "support/stand_in.h"
#include "support/wait_for.h"
#include "util/child_process.h"
#include "util/command_runner.h"

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <functional>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

/// The next call that fails. Child processes share it.
struct Fault
{
    std::atomic<long> function{-1}; ///< the number of its system call
    std::atomic<int> countdown{0};  ///< each call decrements it; the one that reaches 0 fails
    std::atomic<int> error{0};
};

Fault &fault()
{
    static auto *const shared = new (mmap(nullptr, sizeof(Fault), PROT_READ | PROT_WRITE,
                                          MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Fault;
    return *shared;
}

template <typename... Arguments>
long callUnlessItFails(long function, Arguments... arguments)
{
    if (fault().function == function && --fault().countdown == 0) {
        errno = fault().error;
        return -1;
    }
    return syscall(function, arguments...);
}

} // namespace

extern "C" {
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier)
int pipe2(int *ends, int flags) noexcept
{
    return int(callUnlessItFails(SYS_pipe2, ends, flags));
}

int eventfd(unsigned count, int flags) noexcept
{
    return int(callUnlessItFails(SYS_eventfd2, count, flags));
}

pid_t fork() noexcept
{
    return pid_t(callUnlessItFails(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr));
}

int setpgid(pid_t pid, pid_t group) noexcept
{
    return int(callUnlessItFails(SYS_setpgid, pid, group));
}

int dup2(int from, int to) noexcept
{
    return int(callUnlessItFails(SYS_dup3, from, to, 0));
}

int dup3(int from, int to, int flags) noexcept
{
    return int(callUnlessItFails(SYS_dup3, from, to, flags));
}

int execv(const char *path, char *const *arguments) noexcept
{
    return int(callUnlessItFails(SYS_execve, path, arguments, environ));
}

int execve(const char *path, char *const *arguments, char *const *environment) noexcept
{
    return int(callUnlessItFails(SYS_execve, path, arguments, environment));
}

int poll(pollfd *watched, nfds_t count, int timeout)
{
    timespec limit{timeout / 1000, (timeout % 1000) * 1000000L};
    return int(
        callUnlessItFails(SYS_ppoll, watched, count, timeout < 0 ? nullptr : &limit, nullptr, 8));
}

int ppoll(pollfd *watched, nfds_t count, const timespec *timeout, const sigset_t *mask)
{
    timespec limit = timeout != nullptr ? *timeout : timespec{};
    return int(callUnlessItFails(SYS_ppoll, watched, count, timeout != nullptr ? &limit : nullptr,
                                 mask, 8));
}

ssize_t read(int file, void *buffer, size_t size)
{
    return callUnlessItFails(SYS_read, file, buffer, size);
}

pid_t wait4(pid_t pid, int *status, int options, rusage *usage) noexcept
{
    return pid_t(callUnlessItFails(SYS_wait4, pid, status, options, usage));
}

/// As in the kernel 6.1, a pidfd of a reaped process whose group still exists fails with EINVAL.
long syscall(long number, ...) noexcept
{
    static const auto original = reinterpret_cast<decltype(&syscall)>(dlsym(RTLD_NEXT, "syscall"));
    va_list list;
    va_start(list, number);
    std::array<long, 6> arguments{};
    for (long &argument : arguments) {
        argument = va_arg(list, long);
    }
    va_end(list);
    const long result = original(number, arguments[0], arguments[1], arguments[2], arguments[3],
                                 arguments[4], arguments[5]);
    if (number == SYS_pidfd_open && result < 0 && errno == ESRCH) {
        const bool hasGroup = kill(-static_cast<pid_t>(arguments[0]), 0) == 0;
        errno = hasGroup ? EINVAL : ESRCH;
    }
    return result;
}

int waitid(idtype_t type, id_t id, siginfo_t *info, int options)
{
    return int(callUnlessItFails(SYS_waitid, type, id, info, options, nullptr));
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier)
}

namespace {

/// One of the daemon's ways to run a program.
struct Operation
{
    const char *name;
    std::function<bool()> succeeds;
};

bool commandSucceeds()
{
    halvex::commandTable = {{1, "echo well; echo done >&2"}};
    QString output;
    QString errorText;
    return halvex::runCommand(1, output, errorText) && output == "well\n" && errorText == "done\n";
}

const std::vector<Operation> operations{
    {"command", commandSucceeds},
    {"query", [] { return halvex::getServiceStatus("halvex-ebpf", 0) == 1; }},
    {"change", [] { return halvex::setServiceStatus("halvex-ebpf", 1, 0, "/run/none") == 0; }},
};

class ChildProcess : public testing::Test
{
protected:
    void SetUp() override
    {
        host::writeStandIn("/usr/bin/systemctl", "echo active\n");
        for (const Operation &operation : operations) {
            ASSERT_TRUE(operation.succeeds()) << operation.name;
        }
        openBefore = openFilesOf(getpid());
    }

    /// Runs @p operation and makes its call number @p count of the system call @p function fail.
    ///
    /// @return whether there was such a call
    static bool runWithFault(const Operation &operation, long function, int count, int error)
    {
        fault().error = error;
        fault().countdown = count;
        fault().function = function;
        static_cast<void>(operation.succeeds());
        fault().function = -1;
        return fault().countdown <= 0;
    }

    /// Expects that no child is left, and that the next @p operation succeeds.
    static void expectNothingLeft(const Operation &operation)
    {
        siginfo_t info{};
        EXPECT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT), -1);
        EXPECT_EQ(errno, ECHILD);
        EXPECT_TRUE(operation.succeeds());
    }

    /// For each operation and each of @p errors, runs the operation once for each of its calls of
    /// @p function and makes that call fail.
    void failEach(long function, const std::vector<int> &errors, int leakedByQt = 0)
    {
        for (const Operation &operation : operations) {
            for (const int error : errors) {
                int count = 1;
                while (runWithFault(operation, function, count, error)) {
                    SCOPED_TRACE(testing::Message() << operation.name << ", call " << count << ": "
                                                    << std::strerror(error));
                    expectNothingLeft(operation);
                    openBefore += leakedByQt;
                    EXPECT_EQ(openFilesOf(getpid()), openBefore);
                    ++count;
                }
                EXPECT_GT(count, 1) << operation.name << " makes no such call";
            }
        }
    }

    int openBefore = 0;
};

TEST_F(ChildProcess, AFailureToMakeAPipeAffectsOnlyOneCall)
{
    failEach(SYS_pipe2, {EMFILE, ENFILE});
}

TEST_F(ChildProcess, AFailureToMakeAnEventfdAffectsOnlyOneCall)
{
    failEach(SYS_eventfd2, {EMFILE, ENOMEM});
}

TEST_F(ChildProcess, AFailureToForkAffectsOnlyOneCall)
{
    failEach(SYS_clone, {EAGAIN, ENOMEM});
}

TEST_F(ChildProcess, AFailureToLeaveTheProcessGroupAffectsOnlyOneCall)
{
    failEach(SYS_setpgid, {EPERM});
}

TEST_F(ChildProcess, AFailureToConnectTheStandardStreamsAffectsOnlyOneCall)
{
    failEach(SYS_dup3, {EINTR, EBUSY});
}

TEST_F(ChildProcess, AFailureToExecuteTheProgramAffectsOnlyOneCall)
{
    failEach(SYS_execve, {ENOMEM, EIO, ENOENT});
}

TEST_F(ChildProcess, AFailureToPollAffectsOnlyOneCall)
{
    failEach(SYS_ppoll, {EINTR, ENOMEM});
}

TEST_F(ChildProcess, AFailureToReadAffectsOnlyOneCall)
{
    failEach(SYS_read, {EINTR, EIO});
}

TEST_F(ChildProcess, AFailureToLookForExitedChildrenAffectsOnlyOneCall)
{
    failEach(SYS_waitid, {EINTR});
}

TEST_F(ChildProcess, AFailureToReapAffectsOnlyOneCall)
{
    // Qt forgets this child and leaks the pipe that would have reported the child's exit.
    failEach(SYS_wait4, {EINTR}, 1);
}

TEST_F(ChildProcess, AShellThatHasBeenReapedSucceedsAndLeavesItsJobAlone)
{
    halvex::ChildProcess shell;
    ASSERT_TRUE(
        shell.startCapturing("/bin/sh", {"-c", "sleep 3600 & echo job"}, QIODevice::ReadOnly));
    ASSERT_TRUE(shell.waitForStarted());
    const auto pid = static_cast<pid_t>(shell.processId());
    ASSERT_TRUE(waitFor([pid] { return kill(pid, 0) != 0; }));
    EXPECT_TRUE(shell.waitForExit(patienceMs));
    EXPECT_EQ(shell.standardOutput(), "job\n");
    shell.close();
    EXPECT_EQ(kill(-pid, SIGKILL), 0) << "the job has been killed before";
}

TEST_F(ChildProcess, AShortageOfDescriptorsAffectsOnlyOneCall)
{
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    for (const Operation &operation : operations) {
        int failures = 0;
        bool succeeded = false;
        for (rlim_t free = 0; !succeeded; ++free) {
            ASSERT_LT(free, 100U) << operation.name;
            SCOPED_TRACE(testing::Message()
                         << operation.name << " with " << free << " descriptors");
            // The count included the directory that was open for counting.
            const rlimit limit{rlim_t(openBefore) - 1 + free, before.rlim_max};
            ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
            succeeded = operation.succeeds();
            ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
            failures += succeeded ? 0 : 1;
            expectNothingLeft(operation);
            EXPECT_EQ(openFilesOf(getpid()), openBefore);
        }
        EXPECT_GT(failures, 3) << operation.name;
    }
}

} // namespace
