// SPDX-License-Identifier: MIT
//
// Sends messages to the daemon that only other senders may send.
//
//   forger replies SERIALS [ARGUMENT]
//       sends forged replies to each of the daemon's connections until EOF of its input. One
//       round replies to the serials 1 to SERIALS, even if the daemon has not used them yet. The
//       replies return ARGUMENT (a word as in arguments.h); without it they are errors. Prints
//       "begun" after the first round. At the end, prints how many replies it has sent and how
//       many of them the bus has refused.
//   forger signal DESTINATION|- PATH INTERFACE MEMBER [ARGUMENT]...
//       sends the signal, and prints "sent" when the bus has passed it on.
#include "forgeries/arguments.h"
#include "forgeries/bus_socket.h"

#include <cstdio>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using forgery::BusSocket;
using forgery::fail;
using forgery::Message;

constexpr const char *daemonName = "com.norva.halvex.desktop";

dbus_uint32_t processOf(BusSocket &bus, const std::string &name)
{
    dbus_uint32_t process = 0;
    const Message reply = bus.askBus("GetConnectionUnixProcessID", name);
    if (reply != nullptr) {
        dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_UINT32, &process, DBUS_TYPE_INVALID);
    }
    return process;
}

/// The unique names of all connections that the daemon's process has.
std::vector<std::string> connectionsOfTheDaemon(BusSocket &bus)
{
    const dbus_uint32_t daemon = processOf(bus, daemonName);
    const Message reply = bus.askBus("ListNames");
    char **names = nullptr;
    int count = 0;
    if (daemon == 0 || reply == nullptr ||
        dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_ARRAY, DBUS_TYPE_STRING, &names,
                              &count, DBUS_TYPE_INVALID) == 0) {
        fail("the daemon is not on the bus");
    }
    std::vector<std::string> connections;
    for (int i = 0; i < count; ++i) {
        if (names[i][0] == ':' && processOf(bus, names[i]) == daemon) {
            connections.emplace_back(names[i]);
        }
    }
    dbus_free_string_array(names);
    return connections;
}

/// A forged reply to the call with the serial @p replySerial from the connection @p destination.
Message forgedReply(const std::string &destination, dbus_uint32_t replySerial,
                    const std::string &argument)
{
    Message reply(dbus_message_new(argument.empty() ? DBUS_MESSAGE_TYPE_ERROR
                                                    : DBUS_MESSAGE_TYPE_METHOD_RETURN));
    dbus_message_set_destination(reply.get(), destination.c_str());
    dbus_message_set_reply_serial(reply.get(), replySerial);
    if (argument.empty()) {
        dbus_message_set_error_name(reply.get(), DBUS_ERROR_NO_REPLY);
    } else {
        forgery::appendArgument(reply.get(), argument);
    }
    return reply;
}

bool inputHasEnded()
{
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
}

/// Sends the messages @p round, and returns how many of them the bus has refused.
int sendRound(BusSocket &bus, const std::string &round)
{
    bus.send(round);
    const Message question(dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                        DBUS_INTERFACE_DBUS, "GetId"));
    constexpr dbus_uint32_t lastSerial = 900000;
    bus.send(forgery::bytesOf(question.get(), lastSerial));
    int refused = 0;
    for (;;) {
        const Message reply = bus.receive();
        if (reply == nullptr) {
            fail("the bus has closed the connection");
        }
        if (dbus_message_get_reply_serial(reply.get()) == lastSerial) {
            return refused;
        }
        if (dbus_message_is_error(reply.get(), DBUS_ERROR_ACCESS_DENIED) != 0) {
            ++refused;
        }
    }
}

int forgeReplies(dbus_uint32_t serials, const std::string &argument)
{
    BusSocket bus;
    std::string round;
    dbus_uint32_t messages = 0;
    for (const std::string &destination : connectionsOfTheDaemon(bus)) {
        for (dbus_uint32_t serial = 1; serial <= serials; ++serial) {
            const Message reply = forgedReply(destination, serial, argument);
            round += forgery::bytesOf(reply.get(), ++messages);
        }
    }
    unsigned long sent = 0;
    unsigned long refused = 0;
    do {
        refused += static_cast<unsigned long>(sendRound(bus, round));
        if (sent == 0) {
            std::puts("begun");
            static_cast<void>(std::fflush(stdout));
        }
        sent += messages;
    } while (!inputHasEnded());
    std::printf("%lu sent, %lu refused\n", sent, refused);
    return 0;
}

int sendSignal(const std::vector<std::string> &words)
{
    BusSocket bus;
    const Message signal(
        dbus_message_new_signal(words[1].c_str(), words[2].c_str(), words[3].c_str()));
    if (words[0] != "-") {
        dbus_message_set_destination(signal.get(), words[0].c_str());
    }
    for (std::size_t i = 4; i < words.size(); ++i) {
        forgery::appendArgument(signal.get(), words[i]);
    }
    bus.send(forgery::bytesOf(signal.get(), 1));
    if (bus.askBus("GetId") == nullptr) {
        fail("the bus has closed the connection");
    }
    std::puts("sent");
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() >= 2 && words[0] == "replies") {
        return forgeReplies(static_cast<dbus_uint32_t>(std::stoul(words[1])),
                            words.size() > 2 ? words[2] : "");
    }
    if (words.size() >= 5 && words[0] == "signal") {
        return sendSignal({words.begin() + 1, words.end()});
    }
    fail("wrong arguments");
}
