// SPDX-License-Identifier: MIT
//
// Starts the daemon, and delivers large signals to each of its two connections as soon as the
// connection exists. The bus policy stops signals to a connection only once that connection owns a
// name. The bus numbers connections in order, so the unique names of the daemon's connections are
// known before the daemon starts.
//
//   early-signals COUNT
//       sends COUNT signals to each connection, and exits when the bus has taken them all
#include "held_back.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

int main(int argc, char **argv)
{
    const int count = argc == 2 ? std::atoi(argv[1]) : 0;
    if (count <= 0) {
        std::fputs("usage: early-signals COUNT\n", stderr);
        return 2;
    }
    DBusConnection *bus = connectToBus();
    const std::vector<HeldBackMessage> signals(2 * static_cast<std::size_t>(count));
    const auto connectionOf = [&signals, count](std::size_t i) {
        const int its = signals.back().number() + 1 + static_cast<int>(i) / count;
        return ":1." + std::to_string(its);
    };
    for (std::size_t i = 0; i < signals.size(); ++i) {
        Address address;
        address.destination = connectionOf(i);
        address.isSignal = true;
        signals[i].send(address);
    }
    waitUntilTaken(bus);

    const Message start(dbus_message_new_method_call("org.freedesktop.DBus",
                                                     "/org/freedesktop/DBus",
                                                     "org.freedesktop.DBus", "StartServiceByName"));
    const std::string daemon = Address().destination;
    const char *name = daemon.c_str();
    const dbus_uint32_t flags = 0;
    dbus_message_append_args(start.get(), DBUS_TYPE_STRING, &name, DBUS_TYPE_UINT32, &flags,
                             DBUS_TYPE_INVALID);
    dbus_message_set_no_reply(start.get(), TRUE);
    dbus_connection_send(bus, start.get(), nullptr);
    for (std::size_t i = 0; i < signals.size(); ++i) {
        const bool isFirst = i % static_cast<std::size_t>(count) == 0;
        while (isFirst && dbus_bus_name_has_owner(bus, connectionOf(i).c_str(), nullptr) == FALSE) {
        }
        signals[i].finish();
    }
    waitUntilTaken(bus);
    _exit(0);
}
