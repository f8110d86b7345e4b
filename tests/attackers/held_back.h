// SPDX-License-Identifier: MIT
//
// Large messages that are sent in advance, except for the last byte, which then delivers them at
// once.
#pragma once

#include "bus_message.h"

#include <string>

class HeldBackMessage
{
public:
    /// Connects to the system bus.
    HeldBackMessage();

    /// The number N of the connection's unique name ":1.N".
    [[nodiscard]] int number() const;

    /// Sends a message to @p address with a text of 33 MB, except for its last byte.
    void send(const Address &address) const;
    /// Sends the last byte.
    void finish() const;

private:
    DBusConnection *bus;
    int socket = -1;
};
