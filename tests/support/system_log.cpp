// SPDX-License-Identifier: MIT
#include "support/system_log.h"

#include <QByteArray>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr const char *logPath = "/dev/log";

} // namespace

SystemLog::SystemLog() : socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, logPath, sizeof address.sun_path - 1);
    // Attack tests make the daemon write many lines before anybody reads them.
    const int bufferSize = 8 * 1024 * 1024;
    EXPECT_EQ(setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &bufferSize, sizeof bufferSize), 0);
    EXPECT_EQ(bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(chmod(logPath, 0666), 0);
}

SystemLog::~SystemLog()
{
    close(socket);
    unlink(logPath);
}

QStringList SystemLog::takeLines()
{
    static const QRegularExpression timeStamp("^(<\\d+>)\\w{3} [ \\d]\\d \\d\\d:\\d\\d:\\d\\d ");
    QStringList lines;
    std::array<char, 8192> line{};
    for (;;) {
        const auto length = recv(socket, line.data(), line.size(), MSG_DONTWAIT);
        if (length < 0) {
            return lines;
        }
        lines << QString::fromUtf8(line.data(), static_cast<int>(length)).replace(timeStamp, "\\1");
    }
}
