// SPDX-License-Identifier: MIT
#include "held_back.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::size_t textBytes = 33000000;

/// Writes directly to a connection's socket: libdbus itself sends only whole messages.
void writeAll(int socket, const char *bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = write(socket, bytes, size);
        if (count < 0) {
            std::perror("write");
            std::exit(2);
        }
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
}

} // namespace

HeldBackMessage::HeldBackMessage() : bus(connectToBus())
{
    dbus_connection_get_unix_fd(bus, &socket);
    fcntl(socket, F_SETFL, 0); // make writes block
}

int HeldBackMessage::number() const
{
    return std::atoi(dbus_bus_get_unique_name(bus) + 3);
}

void HeldBackMessage::send(const Address &address) const
{
    const Message message = makeMessage(address, {std::string(textBytes, 'x')});
    dbus_message_set_no_reply(message.get(), TRUE);
    dbus_message_set_serial(message.get(), 100); // higher than any that libdbus has used
    char *bytes = nullptr;
    int size = 0;
    if (dbus_message_marshal(message.get(), &bytes, &size) == FALSE) {
        std::exit(2);
    }
    writeAll(socket, bytes, static_cast<std::size_t>(size) - 1);
    dbus_free(bytes);
}

void HeldBackMessage::finish() const
{
    writeAll(socket, "", 1); // a text ends with a NUL
}
