// SPDX-License-Identifier: MIT
//
// The child processes of ExpendableWorker, and the messages between them and the daemon.
#pragma once

#include "util/expendable_worker.h"

#include <cstdint>
#include <sys/types.h>

namespace halvex {

/// The header of each input. A worker is a fork of the daemon, so a function has the same address
/// in both processes.
struct Order
{
    Job job;
    std::uint64_t inputSize;
};

/// The header of each message to the daemon. A result or an interim result follows its header. The
/// kinds Patience and NoLimit change the time limit; nothing follows them.
struct Word
{
    enum class Kind : std::uint64_t { Result, InterimResult, Patience, NoLimit } kind;
    std::uint64_t value; ///< the size of the result in bytes, or the limit in milliseconds
};

/// The main function of a template, a child of @p daemon. For each socket received over @p socket
/// it forks a worker and sends back the worker's pidfd.
///
/// @param workerName  the process name of the workers
[[noreturn]] void liveAsTemplate(int socket, pid_t daemon, const char *workerName) noexcept;

} // namespace halvex
