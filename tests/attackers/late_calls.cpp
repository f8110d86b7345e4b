// SPDX-License-Identifier: MIT
//
// Sends large calls while the daemon does not run. The bus then starts the daemon, and delivers all
// the calls before it answers the daemon's request for its name.
//
//   late-calls COUNT
//       sends COUNT calls, and exits when the daemon owns its name
#include "held_back.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

int main(int argc, char **argv)
{
    const int count = argc == 2 ? std::atoi(argv[1]) : 0;
    if (count <= 0) {
        std::fputs("usage: late-calls COUNT\n", stderr);
        return 2;
    }
    const Address daemon;
    const std::vector<HeldBackMessage> calls(static_cast<std::size_t>(count));
    for (const HeldBackMessage &call : calls) {
        call.send(daemon);
    }
    DBusConnection *bus = connectToBus();
    waitUntilTaken(bus);
    for (const HeldBackMessage &call : calls) {
        call.finish();
    }
    while (dbus_bus_name_has_owner(bus, daemon.destination.c_str(), nullptr) == FALSE) {
        usleep(1000);
    }
    _exit(0);
}
