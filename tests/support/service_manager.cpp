// SPDX-License-Identifier: MIT
#include "support/service_manager.h"

#include <gtest/gtest.h>

#include <array>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

ServiceManager::ServiceManager() : socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    constexpr sockaddr_un address{AF_UNIX, "/run/notify"};
    EXPECT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
}

QStringList ServiceManager::variables()
{
    return {"NOTIFY_SOCKET=/run/notify", "WATCHDOG_USEC=2000000"};
}

QByteArray ServiceManager::nextMessage(int timeoutMs) const
{
    std::array<char, 100> message{};
    pollfd ready{socket.get(), POLLIN, 0};
    if (poll(&ready, 1, timeoutMs) != 1) {
        return {};
    }
    const auto length = recv(socket.get(), message.data(), message.size(), 0);
    return {message.data(), static_cast<int>(length)};
}

bool ServiceManager::isAskedForRestart() const
{
    bool isAsked = false;
    for (QByteArray message = nextMessage(0); !message.isEmpty(); message = nextMessage(0)) {
        isAsked = isAsked || message == "WATCHDOG=trigger";
    }
    return isAsked;
}
