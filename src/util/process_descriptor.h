// SPDX-License-Identifier: MIT
#pragma once

#include "util/file_descriptor.h"

#include <sys/types.h>

namespace halvex {

/// Returns a pidfd for @p process, see pidfd_open(2). It is not open on failure, with errno set:
/// ESRCH if there is no such process.
[[nodiscard]] FileDescriptor openProcess(pid_t process) noexcept;

} // namespace halvex
