// SPDX-License-Identifier: MIT
//
// A daemon that the bus has cut off gives no more signs of life, so that systemd ends it. No host
// booted for a test lets its programs take another's descriptors, so there is no systemd here.
#include "attacks/attacked_host.h"

#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int intervalMs = 2000;

/// The service manager's end of the watchdog.
class Manager
{
public:
    Manager() : socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/run/manager");
        EXPECT_EQ(bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    ~Manager() { close(socket); }
    Manager(const Manager &) = delete;
    Manager &operator=(const Manager &) = delete;

    /// Tells whether a sign of life comes before the manager would end the daemon.
    [[nodiscard]] bool hearsOfIt() const
    {
        char message[64];
        pollfd ready{socket, POLLIN, 0};
        return poll(&ready, 1, intervalMs) == 1 && recv(socket, message, sizeof message, 0) > 0;
    }

private:
    int socket;
};

TEST_F(AttackedHost, ADaemonThatIsCutOffTheBusGivesNoMoreSignsOfLife)
{
    stopDaemon();
    const Manager manager;
    startDaemon(soundEnvironment + QStringList{"NOTIFY_SOCKET=/run/manager",
                                               QString("WATCHDOG_USEC=%1000").arg(intervalMs)});
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(manager.hearsOfIt());
    }
    daemonMayEnd = true;
    ASSERT_EQ(host::run({ATTACKERS "/cut-bus", QString::number(daemon.processId())}).exitCode, 0);
    int signs = 0;
    constexpr int manySigns = 40;
    while (signs < manySigns && manager.hearsOfIt()) {
        ++signs;
    }
    EXPECT_LT(signs, manySigns);
}

} // namespace
