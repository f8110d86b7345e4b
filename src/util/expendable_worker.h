// SPDX-License-Identifier: MIT
//
// Runs system calls that other users can make hang, such as a read of a process whose memory is
// locked, or a write to a file whose inode is locked. Such calls have no time-out, and signals do
// not interrupt all of them. A child process makes these calls, and is killed on time-out. So the
// daemon itself never hangs in such a call, and can always be killed.
#pragma once

#include "util/file_descriptor.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace halvex {

/// Connects a job with the daemon, which waits for the result of the job.
class JobControl
{
public:
    /// For a job that runs in the calling process: all functions are no-ops.
    JobControl() = default;
    explicit JobControl(int socket) noexcept : channel(socket) {}

    /// Sets how long the daemon waits, counted from now. This replaces the earlier limit. Without a
    /// value, there is no limit. Exits the process if the daemon has given the job up.
    void setPatience(std::optional<std::chrono::milliseconds> limit) const;

    /// Sets the result that run() returns if the job is given up after this call. Exits the process
    /// if the daemon has given the job up already.
    void setInterimResult(const std::string &result) const;

private:
    int channel = -1;
};

/// A function that returns a result for an input. It runs in another process, so it cannot change
/// anything in the daemon. It must not use Qt: if another thread holds a lock of Qt at the fork,
/// the lock is never released in the new process. This can happen only if a killed template is
/// replaced.
using Job = std::string (*)(const std::string &input, const JobControl &control);

/// The maximum number of processes of one worker that were killed but still hang in an
/// uninterruptible system call. Processes that earlier daemons have left behind count too.
constexpr std::size_t maxLeftBehind = 64;

/// A child process that runs one job after another. The process is created for the first job. If a
/// job is given up, a new process is created for the next job. The process closes all inherited
/// files except standard error, and exits when the daemon exits.
///
/// The process is forked from a template process. The constructor creates the template, while the
/// daemon uses little memory and has one thread. A process that is forked from the daemon itself
/// would keep all the memory that the daemon uses at that moment.
class ExpendableWorker
{
public:
    /// Creates the template.
    ///
    /// @param name  the name of the process that runs the jobs; at most 15 characters; two workers
    ///              must not have the same name
    explicit ExpendableWorker(const char *name);
    ExpendableWorker(const ExpendableWorker &) = delete;
    ExpendableWorker &operator=(const ExpendableWorker &) = delete;
    /// Kills the template process and the process that runs the jobs.
    ~ExpendableWorker();

    /// Runs @p job and waits for its result, for at most @p patience unless the job itself sets
    /// another limit. Logs nothing.
    ///
    /// On time-out the job is given up: its process is killed. A process that hangs in an
    /// uninterruptible system call is left behind. It exits when that call returns.
    ///
    /// Throws std::bad_alloc if there is no memory for the result. The job is then given up.
    ///
    /// @return the result of the job. On time-out, or if the process exits: the interim result, if
    ///         the job has set one. Otherwise nothing, for example if the process could not be
    ///         created because maxLeftBehind processes are left behind already.
    [[nodiscard]] std::optional<std::string> run(Job job, const std::string &input,
                                                 std::chrono::milliseconds patience);

private:
    [[nodiscard]] bool start();
    [[nodiscard]] bool send(Job job, const std::string &input);
    [[nodiscard]] std::optional<std::string> receive(std::chrono::milliseconds patience);
    void makeTemplate();
    void endTemplate();
    void giveUp();
    void forgetExited();

    const char *const processName;
    pid_t templateProcess = -1;
    FileDescriptor templateChannel;
    FileDescriptor channel;                 ///< not open while there is no process
    FileDescriptor process;                 ///< its pidfd, see pidfd_open(2)
    std::vector<FileDescriptor> leftBehind; ///< pidfds of killed processes that have not exited yet
    bool knowsEarlier = false; ///< whether workers of earlier daemons were searched for
};

} // namespace halvex
