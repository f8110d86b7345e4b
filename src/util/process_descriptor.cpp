// SPDX-License-Identifier: MIT
#include "util/process_descriptor.h"

#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

namespace halvex {

FileDescriptor openProcess(pid_t process) noexcept
{
    // In glibc 2.36, pidfd_open() cannot be linked from C++.
    FileDescriptor opened(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    // If the process has been reaped, but its process group still exists, kernels such as 6.1
    // report EINVAL.
    if (!opened.isOpen() && errno == EINVAL) {
        errno = ESRCH;
    }
    return opened;
}

} // namespace halvex
