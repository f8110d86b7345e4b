// SPDX-License-Identifier: MIT
//
// Under a service manager: the daemon's signs of life, and what it says when it does not hear the
// bus.
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "util/file_descriptor.h"

#include <QByteArray>

#include <array>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace {

class BusWatch : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        constexpr sockaddr_un address{AF_UNIX, "/run/notify"};
        ASSERT_EQ(bind(manager.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
                  0);
        // An idle daemon gives a sign of life every second.
        startDaemon(soundEnvironment +
                    QStringList{"NOTIFY_SOCKET=/run/notify", "WATCHDOG_USEC=2000000"});
    }

    /// What the daemon says next; empty when it stays silent.
    QByteArray nextMessage()
    {
        std::array<char, 100> message{};
        pollfd ready{manager.get(), POLLIN, 0};
        if (poll(&ready, 1, patienceMs) != 1) {
            return {};
        }
        const auto length = recv(manager.get(), message.data(), message.size(), 0);
        return {message.data(), static_cast<int>(length)};
    }

    QByteArray messageBesidesSignsOfLife()
    {
        QByteArray message;
        do {
            message = nextMessage();
        } while (message == "WATCHDOG=1");
        return message;
    }

    const halvex::FileDescriptor manager{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

TEST_F(BusWatch, AnIdleDaemonIsAlive)
{
    // For longer than an answer of the bus may take.
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(nextMessage(), "WATCHDOG=1");
    }
}

TEST_F(BusWatch, ADaemonWhoseCallerWaitsForALongTimeIsAlive)
{
    // For longer than an answer of the bus may take.
    host::writeScript("/usr/sbin/getstatus", "exec sleep 7\n");
    EXPECT_EQ(call("getEventTotalCount", {}, Caller{user::ordinary}).status, -1);
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(nextMessage(), "WATCHDOG=1");
    }
}

TEST_F(BusWatch, ADaemonThatHasLostTheBusAsksForItsEnd)
{
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
    bus.kill();
    ASSERT_TRUE(bus.waitForFinished(patienceMs));
    EXPECT_EQ(messageBesidesSignsOfLife(), "WATCHDOG=trigger");
}

TEST_F(BusWatch, ADaemonWhoseGateHasLostTheBusAsksForItsEnd)
{
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
    // The gate's connection is made first.
    const auto cut = host::run({CUT_BUS, QString::number(daemon.processId()), "1"});
    ASSERT_EQ(cut.exitCode, 0) << cut.errors.constData();
    EXPECT_EQ(call("getEventTotalCount", {}, Caller{user::ordinary}).status, -999);
    EXPECT_EQ(messageBesidesSignsOfLife(), "WATCHDOG=trigger");
}

TEST_F(BusWatch, ADaemonWhoseBusDoesNotAnswerAsksForItsEnd)
{
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
    ASSERT_EQ(kill(static_cast<pid_t>(bus.processId()), SIGSTOP), 0);
    EXPECT_EQ(messageBesidesSignsOfLife(), "WATCHDOG=trigger");
    ASSERT_EQ(kill(static_cast<pid_t>(bus.processId()), SIGCONT), 0);
}

} // namespace
