// SPDX-License-Identifier: MIT
//
// Cuts a process off the system bus, as if the bus had closed the process's connections.
//
//   cut-bus PID [COUNT]      shuts down the COUNT connections of the process that have the lowest
//                            descriptors; without COUNT, all of them
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

bool leadsToTheBus(int socket)
{
    sockaddr_un address{};
    socklen_t length = sizeof address;
    return getpeername(socket, reinterpret_cast<sockaddr *>(&address), &length) == 0 &&
           address.sun_family == AF_UNIX &&
           std::string(address.sun_path).find("dbus/system_bus_socket") != std::string::npos;
}

} // namespace

int main(int argc, char **argv)
{
    const pid_t pid = argc >= 2 ? std::atoi(argv[1]) : 0;
    constexpr int maxDescriptors = 1024;
    const int count = argc == 3 ? std::atoi(argv[2]) : maxDescriptors;
    const auto process = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (process < 0) {
        std::perror("cut-bus");
        return 2;
    }
    int connections = 0;
    for (int number = 0; number < maxDescriptors && connections < count; ++number) {
        const auto copy = static_cast<int>(syscall(SYS_pidfd_getfd, process, number, 0));
        if (copy >= 0) {
            if (leadsToTheBus(copy)) {
                shutdown(copy, SHUT_RDWR);
                ++connections;
            }
            close(copy);
        }
    }
    std::printf("%d\n", connections);
    return connections > 0 ? 0 : 1;
}
