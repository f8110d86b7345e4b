// SPDX-License-Identifier: MIT
//
// Messages to the daemon as an attacker makes them, without the checks of a front end's library.
#pragma once

#include <dbus/dbus.h>
#include <memory>
#include <string>
#include <vector>

struct MessageCloser
{
    void operator()(DBusMessage *message) const { dbus_message_unref(message); }
};
using Message = std::unique_ptr<DBusMessage, MessageCloser>;

/// The header fields of a message. The defaults address the daemon.
struct Address
{
    std::string destination = "com.norva.halvex.desktop";
    std::string path = "/com/norva/halvex/desktop";
    std::string interface = "com.norva.halvex.desktop.com.norva.halvex.desktop"; ///< may be empty
    std::string member = "getEventTotalCount";
    bool isSignal = false;
};

/// Opens a new connection to the system bus. Exits the program on failure.
DBusConnection *connectToBus();

/// A message with the texts @p arguments. "variant:TEXT" is sent as a variant that holds TEXT,
/// and "list:" as an empty list of numbers.
Message makeMessage(const Address &address, const std::vector<std::string> &arguments);

/// Appends a list of @p count texts of one character each to @p message.
void appendList(DBusMessage *message, int count);

/// Sends @p message and waits for its answer.
///
/// @return "status N" for an answer that begins with a number, "answer" for any other one, and
///         "error NAME" for an error
std::string answerTo(DBusConnection *bus, DBusMessage *message);

/// Waits until the bus has taken all messages sent before: it handles them in order. Exits the
/// program if the bus has closed the connection.
void waitUntilTaken(DBusConnection *bus);

/// The unique names of the connections that the process @p pid has to the bus.
std::vector<std::string> namesOfProcess(DBusConnection *bus, unsigned pid);
