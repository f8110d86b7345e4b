// SPDX-License-Identifier: MIT
//
// Sends many, large or odd messages to the daemon.
//
//   flood [OPTION]... [TEXT]...
//       sends messages with the TEXTs; "variant:TEXT" is sent as a variant that holds TEXT, and
//       "list:" as an empty list of numbers
//   --member NAME, --path PATH, --interface NAME
//                          address the messages to these; --interface "" names none
//   --pid PID              send to each connection of that process, not to the daemon's name
//   --signal               send signals, not method calls
//   --small COUNT          send COUNT messages with the TEXTs (default: 1; with --large, 0)
//   --large COUNT          then send COUNT messages with a text of 33 MB after the TEXTs; if the
//                          last TEXT is "variant:", the large text is sent in a variant
//   --list COUNT           the large messages have a list of COUNT texts of one character each,
//                          instead of the text of 33 MB
//   --descriptors PATH N   attach N descriptors of the file PATH to each message
//   --connections N        do all of this through N connections at once
//   --seconds N            repeat all of this for N seconds; each connection prints "round"
//                          after its first round
//   --answers              wait for each message's answer and print it before the next is sent
//   --stay                 stay on the bus; print "sent" when the bus has taken all messages
#include "bus_message.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::size_t largeTextBytes = 33000000;

struct Orders
{
    Address address;
    std::vector<std::string> texts;
    unsigned pid = 0;
    int small = 0;
    int large = 0;
    int listed = 0;
    std::string descriptorPath;
    int descriptors = 0;
    int connections = 1;
    std::chrono::seconds time{0};
    bool printsAnswers = false;
    bool stays = false;
};

[[noreturn]] void usage(const std::string &word)
{
    std::fprintf(stderr, "flood: unknown or incomplete: %s\n", word.c_str());
    std::exit(2);
}

Orders readOrders(int argc, char **argv)
{
    Orders orders;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto value = [&]() -> std::string {
            if (++i >= argc) {
                usage(word);
            }
            return argv[i];
        };
        if (word == "--member") {
            orders.address.member = value();
        } else if (word == "--path") {
            orders.address.path = value();
        } else if (word == "--interface") {
            orders.address.interface = value();
        } else if (word == "--pid") {
            orders.pid = static_cast<unsigned>(std::stoul(value()));
        } else if (word == "--signal") {
            orders.address.isSignal = true;
        } else if (word == "--small") {
            orders.small = std::stoi(value());
        } else if (word == "--large") {
            orders.large = std::stoi(value());
        } else if (word == "--list") {
            orders.listed = std::stoi(value());
        } else if (word == "--descriptors") {
            orders.descriptorPath = value();
            orders.descriptors = std::stoi(value());
        } else if (word == "--connections") {
            orders.connections = std::stoi(value());
        } else if (word == "--seconds") {
            orders.time = std::chrono::seconds(std::stoi(value()));
        } else if (word == "--answers") {
            orders.printsAnswers = true;
        } else if (word == "--stay") {
            orders.stays = true;
        } else if (word.compare(0, 2, "--") == 0) {
            usage(word);
        } else {
            orders.texts.push_back(word);
        }
    }
    if (orders.small == 0 && orders.large == 0) {
        orders.small = 1;
    }
    return orders;
}

int openForReading(const std::string &path)
{
    const int descriptor = open(path.c_str(), O_RDONLY);
    if (descriptor < 0) {
        std::perror(path.c_str());
        std::exit(2);
    }
    return descriptor;
}

/// Sends the messages of each round through one connection, the small ones first.
class Sender
{
public:
    explicit Sender(const Orders &given)
        : orders(given), bus(connectToBus()),
          descriptor(given.descriptors == 0 ? -1 : openForReading(given.descriptorPath))
    {
        std::vector<std::string> destinations{orders.address.destination};
        if (orders.pid != 0) {
            destinations = namesOfProcess(bus, orders.pid);
        }
        std::vector<std::string> largeTexts = orders.texts;
        if (orders.large > 0 && orders.listed == 0) {
            if (largeTexts.empty() || largeTexts.back() != "variant:") {
                largeTexts.emplace_back();
            }
            largeTexts.back().append(largeTextBytes, 'x');
        }
        for (const std::string &destination : destinations) {
            Address address = orders.address;
            address.destination = destination;
            smallMessages.push_back(prepared(address, orders.texts));
            largeMessages.push_back(prepared(address, largeTexts));
            if (orders.listed > 0) {
                appendList(largeMessages.back().get(), orders.listed);
            }
        }
    }

    void sendRound()
    {
        for (int i = 0; i < orders.small; ++i) {
            sendEach(smallMessages);
        }
        for (int i = 0; i < orders.large; ++i) {
            sendEach(largeMessages);
            dbus_connection_flush(bus);
        }
        waitUntilTaken(bus);
    }

private:
    Message prepared(const Address &address, const std::vector<std::string> &texts) const
    {
        Message message = makeMessage(address, texts);
        dbus_message_set_no_reply(message.get(), orders.printsAnswers ? FALSE : TRUE);
        for (int i = 0; i < orders.descriptors; ++i) {
            dbus_message_append_args(message.get(), DBUS_TYPE_UNIX_FD, &descriptor,
                                     DBUS_TYPE_INVALID);
        }
        return message;
    }

    void sendEach(const std::vector<Message> &messages)
    {
        for (const Message &message : messages) {
            const Message copy(dbus_message_copy(message.get()));
            if (orders.printsAnswers) {
                std::puts(answerTo(bus, copy.get()).c_str());
                std::fflush(stdout);
            } else {
                dbus_connection_send(bus, copy.get(), nullptr);
            }
        }
    }

    const Orders &orders;
    DBusConnection *bus;
    int descriptor;
    std::vector<Message> smallMessages;
    std::vector<Message> largeMessages;
};

void attack(const Orders &orders)
{
    Sender sender(orders);
    const auto end = std::chrono::steady_clock::now() + orders.time;
    sender.sendRound();
    if (orders.time.count() > 0) {
        std::puts("round");
        std::fflush(stdout);
    }
    while (std::chrono::steady_clock::now() < end) {
        sender.sendRound();
    }
    if (orders.stays) {
        std::puts("sent");
        std::fflush(stdout);
        for (;;) {
            pause();
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    const Orders orders = readOrders(argc, argv);
    for (int i = 1; i < orders.connections; ++i) {
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            attack(orders);
            _exit(0);
        }
    }
    attack(orders);
    while (wait(nullptr) > 0) {
    }
    // Exits without cleaning up, like a program that is killed.
    _exit(0);
}
