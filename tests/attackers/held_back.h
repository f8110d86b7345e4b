// SPDX-License-Identifier: MIT
//
// Large messages that have been sent but for their last bytes: each is finished at once.
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

    /// Sends a message to @p address with a text of 33 MB, but for the last byte.
    void send(const Address &address) const;
    void finish() const;

private:
    DBusConnection *bus;
    int socket = -1;
};
