// SPDX-License-Identifier: MIT
#include "descriptors.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const char *what)
{
    std::perror(what);
    std::exit(2);
}

int lingeringSocket()
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto *where = reinterpret_cast<sockaddr *>(&address);
    if (bind(listener, where, length) != 0 || listen(listener, 1) != 0 ||
        getsockname(listener, where, &length) != 0) {
        fail("listening socket");
    }
    const int sender = socket(AF_INET, SOCK_STREAM, 0);
    if (connect(sender, where, length) != 0) {
        fail("connect");
    }
    constexpr linger anHour{1, 3600}; // longer than any test takes
    setsockopt(sender, SOL_SOCKET, SO_LINGER, &anHour, sizeof anHour);
    // The listener must stay open after this program exits: the kernel resets the connection
    // otherwise. An idle child keeps it open until that child is killed, for two hours at most.
    if (fork() == 0) {
        close(sender);
        alarm(7200);
        for (;;) {
            pause();
        }
    }
    close(listener);
    const std::array<char, 65536> bytes{};
    while (send(sender, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
    }
    return sender;
}

} // namespace

int openDescriptor(const std::string &kind)
{
    const int descriptor = kind == "lingering" ? lingeringSocket() : open(kind.c_str(), O_RDONLY);
    if (descriptor < 0) {
        fail(kind.c_str());
    }
    return descriptor;
}
