// SPDX-License-Identifier: MIT
//
// Relays messages between programs and the system bus, and can hold back one of the bus's replies.
//
//   bus-relay SOCKET
//       Listens at SOCKET for any number of connections, and prints "ready". Does not relay file
//       descriptors. Exits at EOF of its input. Each line of the input is an order, which replaces
//       the previous one:
//
//   hold MEMBER N             never deliver the reply to the Nth call of MEMBER from now on
//   replace MEMBER N NUMBER   deliver a reply with NUMBER instead of that reply
//
//       Prints "ordered" when it starts to count the calls of MEMBER, and "obeyed" when the
//       bus's reply has been held back or replaced.
#include "forgeries/bus_socket.h"

#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

using forgery::BusSocket;
using forgery::fail;
using forgery::Message;

struct Order
{
    std::string action;
    std::string member;
    int calls = 0; ///< how many more calls until the one whose reply is held back
    dbus_uint32_t number = 0;
};

struct Connection
{
    explicit Connection(int descriptor) : program(descriptor), bus(forgery::connectToBus()) {}

    BusSocket program;
    BusSocket bus;
    std::map<dbus_uint32_t, Order> orders; ///< by the serial of the call; guarded by the mutex
};

std::mutex mutex;
Order current; ///< guarded by the mutex

void print(const char *line)
{
    std::puts(line);
    static_cast<void>(std::fflush(stdout));
}

void countCall(Connection &connection, DBusMessage *call)
{
    const std::lock_guard lock(mutex);
    const char *member = dbus_message_get_member(call);
    if (dbus_message_get_type(call) == DBUS_MESSAGE_TYPE_METHOD_CALL && member == current.member &&
        --current.calls == 0) {
        connection.orders[dbus_message_get_serial(call)] = current;
    }
}

/// Takes the order for @p reply, if there is one.
std::optional<Order> takeOrder(Connection &connection, DBusMessage *reply)
{
    const std::lock_guard lock(mutex);
    const auto found = connection.orders.extract(dbus_message_get_reply_serial(reply));
    return found.empty() ? std::nullopt : std::optional(found.mapped());
}

/// A reply like @p reply, but with @p number.
Message replyWith(dbus_uint32_t number, DBusMessage *reply)
{
    Message other(dbus_message_new(DBUS_MESSAGE_TYPE_METHOD_RETURN));
    dbus_message_set_reply_serial(other.get(), dbus_message_get_reply_serial(reply));
    dbus_message_set_sender(other.get(), dbus_message_get_sender(reply));
    dbus_message_set_destination(other.get(), dbus_message_get_destination(reply));
    dbus_message_append_args(other.get(), DBUS_TYPE_UINT32, &number, DBUS_TYPE_INVALID);
    return other;
}

void deliver(const BusSocket &receiver, DBusMessage *message, dbus_uint32_t serial)
{
    receiver.send(forgery::bytesOf(message, serial));
}

void relayCalls(Connection &connection)
{
    while (const Message message = connection.program.receive()) {
        countCall(connection, message.get());
        deliver(connection.bus, message.get(), dbus_message_get_serial(message.get()));
    }
    shutdown(connection.bus.descriptor(), SHUT_RDWR);
}

void relayReplies(Connection &connection)
{
    while (const Message message = connection.bus.receive()) {
        const dbus_uint32_t serial = dbus_message_get_serial(message.get());
        const std::optional<Order> order = takeOrder(connection, message.get());
        if (!order) {
            deliver(connection.program, message.get(), serial);
            continue;
        }
        if (order->action == "replace") {
            deliver(connection.program, replyWith(order->number, message.get()).get(), serial);
        }
        print("obeyed");
    }
    shutdown(connection.program.descriptor(), SHUT_RDWR);
}

/// Relays the lines of the authentication. The bus answers each line but the last with one line.
void relayAuthentication(const Connection &connection)
{
    std::string line = connection.program.receiveLine();
    while (!line.empty() && line != "BEGIN\r\n") {
        connection.bus.send(line);
        connection.program.send(connection.bus.receiveLine());
        line = connection.program.receiveLine();
    }
    connection.bus.send(line);
}

void relay(int descriptor)
{
    Connection connection(descriptor);
    relayAuthentication(connection);
    std::thread replies(relayReplies, std::ref(connection));
    relayCalls(connection);
    replies.join();
}

[[noreturn]] void acceptPrograms(int listener)
{
    while (true) {
        const int descriptor = accept(listener, nullptr, nullptr);
        if (descriptor < 0) {
            fail("accept");
        }
        std::thread(relay, descriptor).detach();
    }
}

int listenAt(const std::string &path)
{
    sockaddr_un address = {AF_UNIX, {}};
    path.copy(static_cast<char *>(address.sun_path), sizeof address.sun_path - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    constexpr int maxWaiting = 10;
    if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener, maxWaiting) != 0) {
        fail(path);
    }
    return listener;
}

void takeOrders()
{
    std::string line;
    while (std::getline(std::cin, line)) {
        Order order;
        std::istringstream(line) >> order.action >> order.member >> order.calls >> order.number;
        if (order.calls <= 0 || (order.action != "hold" && order.action != "replace")) {
            fail("wrong order: " + line);
        }
        {
            const std::lock_guard lock(mutex);
            current = order;
        }
        print("ordered");
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        fail("wrong arguments");
    }
    std::thread(acceptPrograms, listenAt(argv[1])).detach();
    print("ready");
    takeOrders();
    _exit(0); // the other threads still run
}
