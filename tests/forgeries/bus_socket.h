// SPDX-License-Identifier: MIT
//
// A connection to the system bus whose every byte is the program's own. libdbus only converts
// messages to bytes and back, so that a message may also be one that libdbus would not send, and
// a connection may be used by another process than the one that made it.
//
// Every failure ends the program with exit status 2 and a line on standard error.
#pragma once

#include <dbus/dbus.h>
#include <memory>
#include <string>

namespace forgery {

struct MessageDeleter
{
    void operator()(DBusMessage *message) const { dbus_message_unref(message); }
};
using Message = std::unique_ptr<DBusMessage, MessageDeleter>;

/// Prints @p what and the text of errno, and ends the program with exit status 2.
[[noreturn]] void fail(const std::string &what);

/// The bytes of @p message, which gets the serial @p serial.
[[nodiscard]] std::string bytesOf(DBusMessage *message, dbus_uint32_t serial);

/// A connection; its descriptor is closed with it.
class BusSocket
{
public:
    /// Connects to the system bus, as the user that runs the program, and says Hello.
    BusSocket();
    /// Goes on with the connection @p descriptor that another process has made.
    explicit BusSocket(int descriptor);
    ~BusSocket();
    BusSocket(const BusSocket &) = delete;
    BusSocket &operator=(const BusSocket &) = delete;

    [[nodiscard]] int descriptor() const { return socket; }

    void send(const std::string &bytes) const;

    /// The next message from the bus; null when the bus has closed the connection.
    [[nodiscard]] Message receive() const;

    /// The answer to the message @p serial; null when the bus has closed the connection.
    [[nodiscard]] Message receiveReply(dbus_uint32_t serial) const;

    /// Asks the bus itself for @p member about @p name, or about nothing if @p name is empty. When
    /// the answer is there, the bus has passed on all that was sent before.
    [[nodiscard]] Message askBus(const char *member, const std::string &name = {});

private:
    int socket;
    dbus_uint32_t nextSerial = 1000000; ///< above those that the programs choose themselves
};

} // namespace forgery
