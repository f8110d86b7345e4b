// SPDX-License-Identifier: MIT
//
// Work that others can make hang: a read of a process whose memory is locked, a write to a file
// whose inode is locked. Such a system call has no time-out, and some cannot even be interrupted by
// a signal. It is made in a child process, which is killed when it takes too long. The daemon
// itself can always go on, and can always be killed.
#pragma once

#include "util/file_descriptor.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace halvex {

/// A job's way to speak to the daemon, which waits for it.
class JobControl
{
public:
    /// Speaks to nobody: the job is done in the process that wants it done.
    JobControl() = default;
    explicit JobControl(int socket) noexcept : channel(socket) {}

    /// Sets how long the daemon waits from now on, in place of the earlier limit. Nothing means
    /// without a limit. Ends the process when the daemon does not wait any more.
    void setPatience(std::optional<std::chrono::milliseconds> limit) const;

    /// Sets what the daemon gets if it has to give the job up from now on.
    void setInterimResult(const std::string &result) const;

private:
    int channel = -1;
};

/// What a worker does: turns an input into a result. It runs in another process, and so cannot
/// change anything in the daemon. It must not use Qt, whose locks another thread may have held when
/// the process was made.
using Job = std::string (*)(const std::string &input, const JobControl &control);

/// How many processes of one worker may be left behind. Each waits in a system call that cannot be
/// interrupted.
constexpr std::size_t maxLeftBehind = 64;

/// A child process that does one job after the other. It is made for the first job, and again after
/// each one that had to be given up. It closes all inherited files but standard error, and exits
/// with the daemon.
class ExpendableWorker
{
public:
    ExpendableWorker();
    ExpendableWorker(const ExpendableWorker &) = delete;
    ExpendableWorker &operator=(const ExpendableWorker &) = delete;
    /// Ends the process.
    ~ExpendableWorker();

    /// Has @p job done and waits for its result, for at most @p patience unless the job itself sets
    /// another limit. Logs nothing.
    ///
    /// A process that is given up is killed. If even that has no effect it is left behind: it
    /// exits once the system call returns that it hangs in.
    ///
    /// Throws std::bad_alloc when there is no memory for the result; the process is given up then.
    ///
    /// @return the result; the interim result, or nothing if there is none, when the job took too
    ///         long or its process exited; nothing when that could not be made, or maxLeftBehind
    ///         processes are left behind already
    [[nodiscard]] std::optional<std::string> run(Job job, const std::string &input,
                                                 std::chrono::milliseconds patience);

private:
    [[nodiscard]] bool start();
    [[nodiscard]] bool send(Job job, const std::string &input);
    [[nodiscard]] std::optional<std::string> receive(std::chrono::milliseconds patience);
    void giveUp();
    void reap();

    FileDescriptor channel; ///< not open while there is no process
    pid_t process = -1;
    std::vector<pid_t> leftBehind; ///< killed, but not yet gone
};

} // namespace halvex
