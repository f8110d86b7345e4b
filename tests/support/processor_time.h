// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <sys/types.h>

/// The processor time that the process @p pid has used so far.
[[nodiscard]] std::chrono::nanoseconds processorTime(pid_t pid);

/// Waits until the process @p pid has used far more processor time, from now on, than any call that
/// returns. Returns false if it does not within patienceMs.
[[nodiscard]] bool keepsBusy(pid_t pid);
