// SPDX-License-Identifier: MIT
#include "support/system_log.h"

#include <QByteArray>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr const char *logPath = "/dev/log";

} // namespace

SystemLog::SystemLog()
    : socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)), stop(eventfd(0, EFD_CLOEXEC))
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, logPath, sizeof address.sun_path - 1);
    unlink(logPath);
    EXPECT_EQ(bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(chmod(logPath, 0666), 0);
    reader = std::thread(&SystemLog::readUntilStopped, this);
}

SystemLog::~SystemLog()
{
    EXPECT_EQ(eventfd_write(stop, 1), 0);
    reader.join();
    close(stop);
    close(socket);
    unlink(logPath);
}

QStringList SystemLog::takeLines()
{
    const std::lock_guard lock(mutex);
    readWhatIsThere();
    return std::exchange(lines, {});
}

void SystemLog::readUntilStopped()
{
    std::array<pollfd, 2> ready{{{socket, POLLIN, 0}, {stop, POLLIN, 0}}};
    while (poll(ready.data(), ready.size(), -1) > 0 && ready[1].revents == 0) {
        const std::lock_guard lock(mutex);
        readWhatIsThere();
    }
}

void SystemLog::readWhatIsThere()
{
    static const QRegularExpression timeStamp("^(<\\d+>)\\w{3} [ \\d]\\d \\d\\d:\\d\\d:\\d\\d ");
    std::array<char, 8192> line{};
    for (;;) {
        const auto length = recv(socket, line.data(), line.size(), MSG_DONTWAIT);
        if (length < 0) {
            return;
        }
        lines << QString::fromUtf8(line.data(), static_cast<int>(length)).replace(timeStamp, "\\1");
    }
}
