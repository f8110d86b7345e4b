// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <sys/types.h>

/// How long the process @p pid has kept a processor busy so far.
[[nodiscard]] std::chrono::nanoseconds processorTime(pid_t pid);

/// Waits until the process @p pid, from now on, has kept a processor busy for far longer than any
/// call takes that returns; false when it never does.
[[nodiscard]] bool keepsBusy(pid_t pid);
