// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <sys/types.h>

/// The processor time that the process @p pid has used so far.
[[nodiscard]] std::chrono::nanoseconds processorTime(pid_t pid);

/// Waits until the process @p pid has used one more second of processor time. A call of the daemon
/// that returns needs far less, so a process that uses so much is in an endless loop. Returns false
/// if this does not happen within patienceMs.
[[nodiscard]] bool keepsBusy(pid_t pid);
