// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <sys/types.h>

/// The processor time that the process @p pid has used so far.
[[nodiscard]] std::chrono::nanoseconds processorTime(pid_t pid);

/// Waits until the process @p pid has used, from now on, far more processor time than a call needs
/// that returns. Returns false if this does not happen within patienceMs.
[[nodiscard]] bool keepsBusy(pid_t pid);
