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

/// What a message says of itself. The defaults are the daemon's own names.
struct Address
{
    std::string destination = "com.norva.halvex.desktop";
    std::string path = "/com/norva/halvex/desktop";
    std::string interface = "com.norva.halvex.desktop.com.norva.halvex.desktop"; ///< may be empty
    std::string member = "getEventTotalCount";
    bool isSignal = false;
};

/// A connection of its own to the system bus. Ends the program when there is none.
DBusConnection *connectToBus();

/// A message with the texts @p arguments. One that starts with "variant:" goes into a variant.
Message makeMessage(const Address &address, const std::vector<std::string> &arguments);

/// Appends a list of @p count texts of one character each to @p message.
void appendList(DBusMessage *message, int count);

/// Sends @p message and waits for its answer.
///
/// @return "status N" for an answer that begins with a number, "answer" for any other one, and
///         "error NAME" for an error
std::string answerTo(DBusConnection *bus, DBusMessage *message);

/// Returns once the bus has taken all that was sent before: it answers in order. Ends the program
/// when the bus has closed the connection.
void waitUntilTaken(DBusConnection *bus);

/// The unique names of the connections that the process @p pid has to the bus.
std::vector<std::string> namesOfProcess(DBusConnection *bus, unsigned pid);
