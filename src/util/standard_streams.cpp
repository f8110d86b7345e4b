// SPDX-License-Identifier: MIT
#include "util/standard_streams.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace halvex {

void keepOutputFromBlocking() noexcept
{
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat status = {};
        if (fstat(stream, &status) == 0 && S_ISSOCK(status.st_mode)) {
            // A buffer for output that is written before journald runs.
            constexpr int bufferBytes = 8 << 20;
            setsockopt(stream, SOL_SOCKET, SO_SNDBUFFORCE, &bufferBytes, sizeof bufferBytes);
            const int flags = fcntl(stream, F_GETFL);
            fcntl(stream, F_SETFL, std::max(flags, 0) | O_NONBLOCK);
        }
    }
}

} // namespace halvex
