// SPDX-License-Identifier: MIT
//
// A connection to the system bus for which the program itself writes every byte. libdbus only
// converts messages to bytes and back. So the program can send messages that libdbus would not
// send, and a process can use a connection that another process has made.
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

/// Returns a new socket that is connected to the system bus. Nothing has been sent yet.
[[nodiscard]] int connectToBus();

/// Sets the serial of @p message to @p serial and returns the message's bytes.
[[nodiscard]] std::string bytesOf(DBusMessage *message, dbus_uint32_t serial);

/// A connection. Its destructor closes the descriptor.
class BusSocket
{
public:
    /// Connects to the system bus, as the user that runs the program, and says Hello.
    BusSocket();
    /// Takes over the connection @p descriptor, which another process has made.
    explicit BusSocket(int descriptor);
    ~BusSocket();
    BusSocket(const BusSocket &) = delete;
    BusSocket &operator=(const BusSocket &) = delete;

    [[nodiscard]] int descriptor() const { return socket; }

    void send(const std::string &bytes) const;

    /// The next line of the authentication, including its line feed; empty when the other side has
    /// closed the connection.
    [[nodiscard]] std::string receiveLine() const;

    /// The next message from the bus; null when the bus has closed the connection.
    [[nodiscard]] Message receive() const;

    /// The answer to the message @p serial; null when the bus has closed the connection.
    [[nodiscard]] Message receiveReply(dbus_uint32_t serial) const;

    /// Calls the method @p member of the bus itself, with the argument @p name unless it is empty.
    /// When the answer has arrived, the bus has passed on everything sent before.
    [[nodiscard]] Message askBus(const char *member, const std::string &name = {});

private:
    int socket;
    dbus_uint32_t nextSerial = 1000000; ///< higher than the serials that the programs choose
};

} // namespace forgery
