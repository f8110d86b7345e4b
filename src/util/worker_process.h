// SPDX-License-Identifier: MIT
//
// The child processes behind ExpendableWorker, and what the daemon and they send each other.
#pragma once

#include "util/expendable_worker.h"
#include "util/file_descriptor.h"

#include <cstdint>
#include <sys/types.h>

namespace halvex {

/// Precedes each input. The worker is a copy of the daemon, so a function has the same address in
/// both.
struct Order
{
    Job job;
    std::uint64_t inputSize;
};

/// Precedes each result; sets a limit by itself.
struct Word
{
    enum class Kind : std::uint64_t { Result, InterimResult, Patience, NoLimit } kind;
    std::uint64_t value; ///< the size of the result in bytes, or the limit in milliseconds
};

/// The whole life of a template, the child of @p daemon: makes a worker for each socket that comes
/// over @p socket, and sends back what refers to it, as pidfd_open(2) says.
///
/// @param workerName  the process name of the workers
[[noreturn]] void liveAsTemplate(int socket, pid_t daemon, const char *workerName) noexcept;

/// Refers to @p process, as pidfd_open(2) says; not open when that fails.
[[nodiscard]] FileDescriptor openProcess(pid_t process) noexcept;

} // namespace halvex
