// SPDX-License-Identifier: MIT
#include "forgeries/bus_socket.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace forgery {
namespace {

/// The size of a header's fixed part, from which libdbus computes the length of the whole message.
constexpr std::size_t headerSize = DBUS_MINIMUM_HEADER_SIZE;

/// Reads exactly @p size bytes; returns false if the connection ends before.
bool readAll(int socket, char *bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = read(socket, bytes, size);
        if (count <= 0) {
            return false;
        }
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

/// The user id as authentication requires it: the hexadecimal codes of its decimal digits.
std::string userInHexadecimal()
{
    std::string text;
    for (const char digit : std::to_string(geteuid())) {
        text += '3';
        text += digit;
    }
    return text;
}

void authenticate(const BusSocket &bus)
{
    using namespace std::string_literals;
    bus.send("\0AUTH EXTERNAL "s + userInHexadecimal() + "\r\n");
    std::string line;
    char next = 0;
    while (next != '\n') {
        if (!readAll(bus.descriptor(), &next, 1)) {
            fail("the bus closes the connection");
        }
        line += next;
    }
    if (line.rfind("OK ", 0) != 0) {
        fail("the bus says " + line);
    }
    bus.send("BEGIN\r\n");
}

} // namespace

void fail(const std::string &what)
{
    static_cast<void>(std::fprintf(stderr, "%s: %s\n", what.c_str(), strerror(errno)));
    _exit(2);
}

int connectToBus()
{
    const sockaddr_un address = {AF_UNIX, "/run/dbus/system_bus_socket"};
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        fail("connect");
    }
    return socket;
}

std::string bytesOf(DBusMessage *message, dbus_uint32_t serial)
{
    dbus_message_set_serial(message, serial);
    char *bytes = nullptr;
    int size = 0;
    if (dbus_message_marshal(message, &bytes, &size) == 0) {
        fail("marshal");
    }
    std::string result(bytes, static_cast<std::size_t>(size));
    dbus_free(bytes);
    return result;
}

BusSocket::BusSocket() : socket(connectToBus())
{
    authenticate(*this);
    if (askBus("Hello") == nullptr) {
        fail("Hello");
    }
}

BusSocket::BusSocket(int descriptor) : socket(descriptor) {}

BusSocket::~BusSocket()
{
    close(socket);
}

void BusSocket::send(const std::string &bytes) const
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count =
            ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0) {
            fail("send");
        }
        sent += static_cast<std::size_t>(count);
    }
}

std::string BusSocket::receiveLine() const
{
    std::string line;
    char next = 0;
    while (next != '\n') {
        if (!readAll(socket, &next, 1)) {
            return {};
        }
        line += next;
    }
    return line;
}

Message BusSocket::receive() const
{
    std::string bytes(headerSize, '\0');
    if (!readAll(socket, bytes.data(), headerSize)) {
        return nullptr;
    }
    const int size =
        dbus_message_demarshal_bytes_needed(bytes.data(), static_cast<int>(headerSize));
    if (size < static_cast<int>(headerSize)) {
        fail("the bus sends an invalid message");
    }
    bytes.resize(static_cast<std::size_t>(size));
    if (!readAll(socket, bytes.data() + headerSize, bytes.size() - headerSize)) {
        return nullptr;
    }
    return Message(dbus_message_demarshal(bytes.data(), size, nullptr));
}

Message BusSocket::receiveReply(dbus_uint32_t serial) const
{
    while (Message message = receive()) {
        if (dbus_message_get_reply_serial(message.get()) == serial) {
            return message;
        }
    }
    return nullptr;
}

Message BusSocket::askBus(const char *member, const std::string &name)
{
    const Message question(dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                        DBUS_INTERFACE_DBUS, member));
    const char *text = name.c_str();
    if (!name.empty()) {
        dbus_message_append_args(question.get(), DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
    }
    const dbus_uint32_t serial = nextSerial++;
    send(bytesOf(question.get(), serial));
    return receiveReply(serial);
}

} // namespace forgery
