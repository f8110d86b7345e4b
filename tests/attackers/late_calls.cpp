// SPDX-License-Identifier: MIT
//
// Sends large calls but for their last bytes, and those while the daemon does not run. The bus then
// starts it, and delivers all the calls before its answer to the claim of the name.
//
//   late-calls COUNT
//       calls of 33 MB, each over a connection of its own. Leaves when the daemon has its name.
#include "bus_message.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::size_t textBytes = 33000000;

/// Writes to a connection behind libdbus's back, which would send a message whole.
void sendBytes(int connection, const char *bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t sent = write(connection, bytes, size);
        if (sent < 0) {
            std::perror("write");
            std::exit(2);
        }
        bytes += sent;
        size -= static_cast<std::size_t>(sent);
    }
}

int connectWithBlockingWrites()
{
    int connection = -1;
    dbus_connection_get_unix_fd(connectToBus(), &connection);
    fcntl(connection, F_SETFL, 0);
    return connection;
}

/// The call as it goes over the bus.
std::string makeCall()
{
    const Message call = makeMessage({}, {std::string(textBytes, 'x')});
    dbus_message_set_no_reply(call.get(), TRUE);
    dbus_message_set_serial(call.get(), 100); // libdbus's own were lower
    char *bytes = nullptr;
    int size = 0;
    if (dbus_message_marshal(call.get(), &bytes, &size) == FALSE) {
        std::exit(2);
    }
    const std::string result(bytes, static_cast<std::size_t>(size));
    dbus_free(bytes);
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    const int count = argc == 2 ? std::atoi(argv[1]) : 0;
    if (count <= 0) {
        std::fputs("usage: late-calls COUNT\n", stderr);
        return 2;
    }
    const std::string call = makeCall();
    std::vector<int> connections;
    for (int i = 0; i < count; ++i) {
        connections.push_back(connectWithBlockingWrites());
        sendBytes(connections.back(), call.data(), call.size() - 1);
    }
    DBusConnection *bus = connectToBus();
    waitUntilTaken(bus);
    for (const int connection : connections) {
        sendBytes(connection, &call.back(), 1);
    }
    const std::string daemon = Address().destination;
    while (dbus_bus_name_has_owner(bus, daemon.c_str(), nullptr) == FALSE) {
        usleep(1000);
    }
    _exit(0);
}
