// SPDX-License-Identifier: MIT
#include "util/system_log.h"

#include "util/file_descriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace halvex {

void logToSystem(std::string_view text) noexcept
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    // The months have English names in every locale.
    constexpr std::array<const char *, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::array<char, 1024> line{};
    const int length = std::snprintf(
        line.data(), line.size(), "<%d>%s %2d %02d:%02d:%02d %s: %.*s", LOG_USER | LOG_INFO,
        months[static_cast<std::size_t>(local.tm_mon)], local.tm_mday, local.tm_hour, local.tm_min,
        local.tm_sec, program_invocation_short_name, static_cast<int>(text.size()), text.data());

    const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    constexpr sockaddr_un log{AF_UNIX, "/dev/log"};
    sendto(socket.get(), line.data(),
           static_cast<std::size_t>(std::clamp<int>(length, 0, line.size() - 1)), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr *>(&log), sizeof log);
}

void keepOutputFromBlocking() noexcept
{
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat status = {};
        if (fstat(stream, &status) == 0 && S_ISSOCK(status.st_mode)) {
            // Room for what is written before journald gets its turn.
            constexpr int bufferBytes = 8 << 20;
            setsockopt(stream, SOL_SOCKET, SO_SNDBUFFORCE, &bufferBytes, sizeof bufferBytes);
            const int flags = fcntl(stream, F_GETFL);
            fcntl(stream, F_SETFL, std::max(flags, 0) | O_NONBLOCK);
        }
    }
}

} // namespace halvex
