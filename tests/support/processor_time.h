// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <sys/types.h>

/// The processor time that the process @p pid has used so far.
[[nodiscard]] std::chrono::nanoseconds processorTime(pid_t pid);

/// Waits until the process @p pid has used one more second of processor time. A call that returns
/// needs far less. Returns false if this does not happen within patienceMs.
[[nodiscard]] bool keepsBusy(pid_t pid);
