// SPDX-License-Identifier: MIT
//
// Calls the daemon from a process that cannot be examined through /proc. The process connects to
// the bus and gets stuck; its child makes the calls through the same connection.
//
//   stuck-process WAY [PARAMETER]... -- COUNT METHOD [TEXT]...
//       calls METHOD with the TEXTs COUNT times; stuck_ways.h describes each WAY. Prints "calling"
//       once the process is stuck, then each answer ("status N" or "error NAME"), then "done". With
//       +COUNT the child does not wait for answers. Both processes stay until they are killed.
#include "bus_message.h"
#include "stuck_ways.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

[[noreturn]] void callFromChild(DBusConnection *bus, const std::string &way, int parent, int ready,
                                const std::vector<std::string> &call)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    char byte = 0;
    if (read(ready, &byte, 1) != 1) {
        std::exit(2);
    }
    while (!isHeldUp(way, parent)) {
        usleep(1000);
    }
    std::puts("calling");
    std::fflush(stdout);
    Address address;
    address.member = call.at(1);
    const bool waits = call.at(0).front() != '+';
    for (int i = std::stoi(call.at(0)); i > 0; --i) {
        const Message message = makeMessage(address, {call.begin() + 2, call.end()});
        if (waits) {
            std::puts(answerTo(bus, message.get()).c_str());
            std::fflush(stdout);
        } else {
            dbus_message_set_no_reply(message.get(), TRUE);
            dbus_connection_send(bus, message.get(), nullptr);
        }
    }
    waitUntilTaken(bus);
    std::puts("done");
    std::fflush(stdout);
    for (;;) {
        pause();
    }
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    const auto separator = std::find(words.begin(), words.end(), "--");
    if (separator == words.begin() || words.end() - separator < 3) {
        std::fputs("usage: stuck-process WAY [PARAMETER]... -- COUNT METHOD [TEXT]...\n", stderr);
        return 2;
    }
    std::array<int, 2> ready{};
    if (pipe(ready.data()) != 0) {
        return 2;
    }
    DBusConnection *bus = connectToBus();
    const pid_t self = getpid();
    if (fork() == 0) {
        close(ready[1]);
        callFromChild(bus, words.front(), self, ready[0], {separator + 1, words.end()});
    }
    close(ready[0]);
    getStuck(words.front(), {words.begin() + 1, separator}, ready[1]);
}
