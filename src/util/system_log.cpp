// SPDX-License-Identifier: MIT
#include "util/system_log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

namespace halvex {
namespace {

using Line = std::array<char, 1024>;

/// Formats @p text as a line for /dev/log.
std::string_view formatLine(Line &line, std::string_view text) noexcept
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    // The months have English names in every locale.
    constexpr std::array<const char *, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const int length = std::snprintf(
        line.data(), line.size(), "<%d>%s %2d %02d:%02d:%02d %s: %.*s", LOG_USER | LOG_INFO,
        months[static_cast<std::size_t>(local.tm_mon)], local.tm_mday, local.tm_hour, local.tm_min,
        local.tm_sec, program_invocation_short_name, static_cast<int>(text.size()), text.data());
    return {line.data(), std::min<std::size_t>(std::size_t(std::max(length, 0)), line.size() - 1)};
}

FileDescriptor openSocket() noexcept
{
    FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    // This buffer holds about eighty lines. Under systemd, the log's queue holds 512 lines of all
    // programs together.
    constexpr int bufferBytes = 32 << 10;
    setsockopt(socket.get(), SOL_SOCKET, SO_SNDBUF, &bufferBytes, sizeof bufferBytes);
    return socket;
}

} // namespace

void SystemLog::write(std::string_view text) noexcept
{
    constexpr int refillRatio = 10;
    const Clock::time_point start = Clock::now();
    patience =
        std::min<Clock::duration>(patience + (start - lastLine) / refillRatio, systemLogPatienceMs);

    if (!socket.isOpen()) {
        socket = openSocket();
    }
    Line buffer{};
    const std::string_view line = formatLine(buffer, text);
    // The kernel rounds each wait up to a whole tick. So do not wait at all if only a short time
    // remains.
    constexpr std::chrono::milliseconds minWait(100);
    const auto waitUs = std::chrono::duration_cast<std::chrono::microseconds>(patience).count();
    const timeval timeout{waitUs / 1000000, waitUs % 1000000};
    const int flags = patience >= minWait ? MSG_NOSIGNAL : MSG_NOSIGNAL | MSG_DONTWAIT;
    constexpr sockaddr_un log{AF_UNIX, "/dev/log"};
    if (setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout) == 0) {
        while (sendto(socket.get(), line.data(), line.size(), flags,
                      reinterpret_cast<const sockaddr *>(&log), sizeof log) < 0 &&
               errno == EINTR) {
        }
    }
    lastLine = Clock::now();
    patience = std::max<Clock::duration>(patience - (lastLine - start), Clock::duration::zero());
}

} // namespace halvex
