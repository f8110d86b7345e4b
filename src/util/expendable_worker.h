// SPDX-License-Identifier: MIT
//
// Runs system calls that other users can make hang, such as a read of a process whose memory is
// locked, or a write to a file whose inode is locked. They have no time-out, and some cannot be
// interrupted by a signal. A child process makes them, and is killed when it takes too long. So the
// daemon itself never hangs in them, and can always be killed.
#pragma once

#include "util/file_descriptor.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace halvex {

/// Connects a job with the daemon, which waits for the job's result.
class JobControl
{
public:
    /// For a job that runs in the same process as its user: all functions do nothing.
    JobControl() = default;
    explicit JobControl(int socket) noexcept : channel(socket) {}

    /// Sets how long the daemon waits from now on, in place of the earlier limit. Without a value
    /// there is no limit. Exits the process when the daemon has given the job up.
    void setPatience(std::optional<std::chrono::milliseconds> limit) const;

    /// Sets the result that run() returns if the job is given up after this call. Exits the process
    /// when the daemon has given the job up already.
    void setInterimResult(const std::string &result) const;

private:
    int channel = -1;
};

/// A function that makes a result from an input. It runs in another process, so it cannot change
/// anything in the daemon. It must not use Qt: another thread may have held a lock of Qt when the
/// process was made.
using Job = std::string (*)(const std::string &input, const JobControl &control);

/// How many processes of one worker may be left behind, which were killed but hang in a system call
/// that cannot be interrupted. Those of earlier daemons count too.
constexpr std::size_t maxLeftBehind = 64;

/// A child process that runs one job after the other. It is made for the first job, and made anew
/// for the next job after one was given up. It closes all inherited files but standard error, and
/// exits with the daemon.
///
/// It is a copy of a template: a process that is made with this object, when the daemon is still
/// small and has one thread. A copy of the daemon itself would keep what it held at that moment.
class ExpendableWorker
{
public:
    /// Makes the template.
    ///
    /// @param name  of the process that runs the jobs, at most 15 characters; no other worker may
    ///              have it
    explicit ExpendableWorker(const char *name);
    ExpendableWorker(const ExpendableWorker &) = delete;
    ExpendableWorker &operator=(const ExpendableWorker &) = delete;
    /// Ends both processes.
    ~ExpendableWorker();

    /// Runs @p job and waits for its result, for at most @p patience unless the job itself sets
    /// another limit. Logs nothing.
    ///
    /// If the job takes longer, it is given up: its process is killed. A process that hangs in a
    /// system call that cannot be interrupted is left behind. It exits when that call returns.
    ///
    /// Throws std::bad_alloc when there is no memory for the result; the process is given up then.
    ///
    /// @return the result; the interim result, or nothing if there is none, when the job took too
    ///         long or its process exited; nothing when the process could not be made, or
    ///         maxLeftBehind processes are left behind already
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
    FileDescriptor process;                 ///< refers to it, as pidfd_open(2) says
    std::vector<FileDescriptor> leftBehind; ///< killed, but not yet gone
    bool knowsEarlier = false;              ///< whether leftBehind holds those of earlier daemons
};

} // namespace halvex
