// SPDX-License-Identifier: MIT
#include "util/process_descriptor.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace halvex {

FileDescriptor openProcess(pid_t process) noexcept
{
    // In glibc 2.36, pidfd_open() cannot be linked from C++.
    return FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
}

} // namespace halvex
