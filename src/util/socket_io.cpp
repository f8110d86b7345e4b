// SPDX-License-Identifier: MIT
#include "util/socket_io.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace halvex {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Tells whether a call that failed with @p error should be repeated.
bool isTransient(int error)
{
    return error == EINTR || error == EAGAIN || error == ENOMEM || error == ENOBUFS;
}

/// Waits until @p socket can be read; false if @p deadline passes before.
bool isReadableBefore(const Deadline &deadline, int socket)
{
    pollfd ready{socket, POLLIN, 0};
    while (true) {
        int timeoutMs = -1;
        if (deadline) {
            const auto remaining =
                std::chrono::ceil<milliseconds>(*deadline - steady_clock::now()).count();
            timeoutMs = static_cast<int>(std::clamp<decltype(remaining)>(remaining, 0, INT_MAX));
        }
        const int count = poll(&ready, 1, timeoutMs);
        if (count >= 0 || !isTransient(errno)) {
            return count > 0;
        }
    }
}

/// Calls @p transfer for the remaining bytes until all @p size bytes after @p next are transferred.
///
/// @param transfer  returns how many bytes it has transferred; 0 to stop; negative on failure, with
///                  errno set
/// @return false if the transfer has stopped or failed
template <typename Byte, typename Transfer>
bool transferAll(Byte *next, std::size_t size, Transfer transfer)
{
    while (size > 0) {
        const ssize_t count = transfer(next, size);
        if (count > 0) {
            next += count;
            size -= static_cast<std::size_t>(count);
        } else if (count == 0 || !isTransient(errno)) {
            return false;
        }
    }
    return true;
}

} // namespace

std::array<FileDescriptor, 2> makeConnection()
{
    std::array<int, 2> ends{-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return {};
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

bool sendAll(int socket, const void *bytes, std::size_t size)
{
    return transferAll(static_cast<const char *>(bytes), size,
                       [socket](const char *next, std::size_t remaining) {
                           return ::send(socket, next, remaining, MSG_NOSIGNAL);
                       });
}

bool receiveAll(int socket, void *bytes, std::size_t size, const Deadline &deadline)
{
    return transferAll(static_cast<char *>(bytes), size,
                       [socket, &deadline](char *next, std::size_t remaining) -> ssize_t {
                           return isReadableBefore(deadline, socket)
                                      ? recv(socket, next, remaining, MSG_DONTWAIT)
                                      : 0;
                       });
}

bool sendDescriptor(int socket, const FileDescriptor &descriptor)
{
    char something = 0;
    iovec bytes{&something, sizeof something};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    if (descriptor.isOpen()) {
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        const int number = descriptor.get();
        std::memcpy(CMSG_DATA(header), &number, sizeof number);
    }
    ssize_t count = 0;
    do {
        count = sendmsg(socket, &message, MSG_NOSIGNAL);
    } while (count < 0 && errno == EINTR);
    return count == sizeof something;
}

std::optional<FileDescriptor> receiveDescriptor(int socket)
{
    char something = 0;
    iovec bytes{&something, sizeof something};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    ssize_t count = 0;
    do {
        count = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
    } while (count < 0 && isTransient(errno));
    if (count != sizeof something) {
        return std::nullopt;
    }
    const cmsghdr *header = CMSG_FIRSTHDR(&message);
    if (header == nullptr || header->cmsg_type != SCM_RIGHTS) {
        return FileDescriptor();
    }
    int number = -1;
    std::memcpy(&number, CMSG_DATA(header), sizeof number);
    return FileDescriptor(number);
}

} // namespace halvex
