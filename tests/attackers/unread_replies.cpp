// SPDX-License-Identifier: MIT
//
// Makes the bus keep so many replies of the daemon that it stops reading from the daemon.
//
//   unread-replies
//       calls Introspect through two connections, which never read the replies. Prints "piled up"
//       once a third connection gets no answer any more. Then stays on the bus without sending
//       anything. Exits with 2 if every call is answered, or if a call fails otherwise.
#include "bus_message.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

void send(DBusConnection *bus, DBusMessage *call)
{
    const Message copy(dbus_message_copy(call));
    dbus_connection_send(bus, copy.get(), nullptr);
}

bool isAnswered(DBusConnection *bus, DBusMessage *call)
{
    // Shorter than the time after which the daemon asks for a restart.
    constexpr int timeoutMs = 2000;
    const Message copy(dbus_message_copy(call));
    DBusError error = DBUS_ERROR_INIT;
    const Message reply(
        dbus_connection_send_with_reply_and_block(bus, copy.get(), timeoutMs, &error));
    if (reply == nullptr && !dbus_error_has_name(&error, DBUS_ERROR_NO_REPLY)) {
        std::fprintf(stderr, "unread-replies: %s\n", error.message);
        std::exit(2);
    }
    return reply != nullptr;
}

} // namespace

int main()
{
    Address address;
    address.interface = "org.freedesktop.DBus.Introspectable";
    address.member = "Introspect";
    const Message call = makeMessage(address, {});
    const std::array<DBusConnection *, 2> silent{connectToBus(), connectToBus()};
    for (DBusConnection *bus : silent) {
        dbus_connection_set_max_received_size(bus, 1);
    }
    DBusConnection *reader = connectToBus();
    // The bus keeps 127 MiB of messages of one sender. A reply has some 5 KiB.
    constexpr int maxBatches = 2000;
    constexpr int callsInBatch = 30;
    for (int batch = 0; batch < maxBatches; ++batch) {
        for (DBusConnection *bus : silent) {
            for (int i = 0; i < callsInBatch; ++i) {
                send(bus, call.get());
            }
            dbus_connection_flush(bus);
        }
        // The daemon serves calls in order, so the queue of calls stays short.
        if (!isAnswered(reader, call.get())) {
            std::puts("piled up");
            std::fflush(stdout);
            for (;;) {
                pause();
            }
        }
    }
    std::fputs("unread-replies: every call was answered\n", stderr);
    return 2;
}
