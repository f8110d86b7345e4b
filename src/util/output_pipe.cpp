// SPDX-License-Identifier: MIT
#include "util/output_pipe.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace halvex {

bool OutputPipe::open() noexcept
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return false;
    }
    readEnd = FileDescriptor(ends[0]);
    writeEnd = FileDescriptor(ends[1]);
    // Only the read end gets O_NONBLOCK: the child's programs expect a blocking write end.
    return fcntl(readEnd.get(), F_SETFL, O_NONBLOCK) == 0;
}

bool OutputPipe::replace(int number) const noexcept
{
    return !writeEnd.isOpen() || dup2(writeEnd.get(), number) == number;
}

void OutputPipe::closeWriteEnd() noexcept
{
    writeEnd = FileDescriptor();
}

bool OutputPipe::read()
{
    return readOnce() >= 0;
}

bool OutputPipe::readAvailable()
{
    int remaining = 0;
    if (isOpen() && ioctl(readEnd.get(), FIONREAD, &remaining) != 0) {
        return false;
    }
    while (remaining > 0) {
        const int size = readOnce();
        if (size <= 0) {
            return size == 0;
        }
        remaining -= size;
    }
    return true;
}

int OutputPipe::readOnce()
{
    if (!isOpen()) {
        return 0;
    }
    std::array<char, 1 << 16> chunk;
    ssize_t count = 0;
    do {
        count = ::read(readEnd.get(), chunk.data(), chunk.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        return errno == EAGAIN ? 0 : -1;
    }
    if (count == 0) {
        readEnd = FileDescriptor();
        return 0;
    }
    const int size = static_cast<int>(count);
    bytes.append(chunk.data(), std::min(size, maxBytes - bytes.size()));
    return size;
}

} // namespace halvex
