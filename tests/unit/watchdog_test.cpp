// SPDX-License-Identifier: MIT
#include "support/host_files.h"
#include "support/wait_for.h"
#include "util/file_descriptor.h"
#include "util/watchdog.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Has the service manager's end of the socket.
class Watchdog : public testing::Test
{
protected:
    void SetUp() override
    {
        listenAt("/run/notify");
        setVariables();
    }

    static void setVariables()
    {
        qputenv("NOTIFY_SOCKET", "/run/notify");
        qputenv("WATCHDOG_USEC", "20000");
        qputenv("WATCHDOG_PID", QByteArray::number(getpid()));
    }

    void listenAt(const QByteArray &name)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.constData(), static_cast<std::size_t>(name.size()));
        manager = halvex::FileDescriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(bind(manager.get(), reinterpret_cast<sockaddr *>(&address),
                       static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) +
                                              static_cast<std::size_t>(name.size()))),
                  0);
    }

    /// Runs the event loop until a message arrives, and returns the message.
    QByteArray nextMessage()
    {
        std::array<char, 100> message{};
        QEventLoop loop;
        while (true) {
            loop.processEvents();
            const auto length = recv(manager.get(), message.data(), message.size(), MSG_DONTWAIT);
            if (length >= 0) {
                return {message.data(), static_cast<int>(length)};
            }
        }
    }

    /// Empties the queue that fillQueue() has filled, and returns the next message.
    QByteArray nextMessageAfterTheFiller()
    {
        QByteArray message;
        do {
            message = nextMessage();
        } while (message == "x");
        return message;
    }

    bool hasMessage()
    {
        char message = 0;
        return recv(manager.get(), &message, sizeof message, MSG_DONTWAIT) >= 0;
    }

    /// Tells whether the process @p pid sleeps.
    static bool sleeps(pid_t pid)
    {
        return host::readFile(QString("/proc/%1/stat").arg(pid)).contains(") S ");
    }

    static bool anyVariableIsLeft()
    {
        return qEnvironmentVariableIsSet("NOTIFY_SOCKET") ||
               qEnvironmentVariableIsSet("WATCHDOG_USEC") ||
               qEnvironmentVariableIsSet("WATCHDOG_PID");
    }

    halvex::FileDescriptor manager;
};

TEST_F(Watchdog, SendsMessagesAgainAndAgain)
{
    const auto watchdog = halvex::startWatchdog();
    ASSERT_TRUE(watchdog);
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
    EXPECT_FALSE(anyVariableIsLeft());
}

TEST_F(Watchdog, SendsMessagesAtHalfTheIntervalAndAtLeastEveryTenSeconds)
{
    struct
    {
        const char *microseconds;
        int expectedMs;
    } const intervals[] = {
        {"20000", 10}, {"4000000", 2000}, {"20000000", 10000}, {"300000000", 10000}};
    for (const auto &interval : intervals) {
        setVariables();
        qputenv("WATCHDOG_USEC", interval.microseconds);
        const auto watchdog = halvex::startWatchdog();
        ASSERT_TRUE(watchdog);
        const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(watchdog.get());
        ASSERT_EQ(timers.size(), 1);
        EXPECT_EQ(timers.first().interval, interval.expectedMs) << interval.microseconds;
    }
}

TEST_F(Watchdog, FindsASocketInTheAbstractNamespace)
{
    listenAt(QByteArray("\0manager", 8));
    qputenv("NOTIFY_SOCKET", "@manager");
    const auto watchdog = halvex::startWatchdog();
    ASSERT_TRUE(watchdog);
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
}

TEST_F(Watchdog, StartsWithoutAProcessIdInTheEnvironment)
{
    qunsetenv("WATCHDOG_PID");
    EXPECT_TRUE(halvex::startWatchdog());
}

TEST_F(Watchdog, DoesNotStartWithoutASocketAndAValidInterval)
{
    for (const char *missing : {"NOTIFY_SOCKET", "WATCHDOG_USEC"}) {
        setVariables();
        qunsetenv(missing);
        EXPECT_FALSE(halvex::startWatchdog()) << missing;
        EXPECT_FALSE(anyVariableIsLeft()) << missing;
    }
    for (const char *interval : {"", "0", "-1", "soon", "99999999999999999999"}) {
        setVariables();
        qputenv("WATCHDOG_USEC", interval);
        EXPECT_FALSE(halvex::startWatchdog()) << interval;
        EXPECT_FALSE(anyVariableIsLeft()) << interval;
    }
}

TEST_F(Watchdog, DoesNotStartForAnotherProcess)
{
    qputenv("WATCHDOG_PID", QByteArray::number(getppid()));
    EXPECT_FALSE(halvex::startWatchdog());
    EXPECT_FALSE(anyVariableIsLeft());
}

TEST_F(Watchdog, StartsWithTheShortestAndTheLongestInterval)
{
    qputenv("WATCHDOG_USEC", "1");
    const auto shortest = halvex::startWatchdog();
    ASSERT_TRUE(shortest);
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
    setVariables();
    qputenv("WATCHDOG_USEC", "9223372036854775807");
    EXPECT_TRUE(halvex::startWatchdog());
}

TEST_F(Watchdog, ADeliveredEventSendsAMessageAtMostOnceASecond)
{
    qputenv("WATCHDOG_USEC", "3600000000");
    const auto watchdog = halvex::startWatchdog();
    ASSERT_TRUE(watchdog);
    QObject receiver;
    const auto deliver = [&receiver] {
        QEvent event(QEvent::User);
        QCoreApplication::sendEvent(&receiver, &event);
    };
    deliver();
    EXPECT_FALSE(hasMessage()) << "a message was sent in the first second";
    QThread::msleep(1100);
    EXPECT_FALSE(hasMessage()) << "a message was sent although no event was delivered";
    deliver();
    deliver();
    EXPECT_TRUE(hasMessage());
    EXPECT_FALSE(hasMessage()) << "more than one message was sent in a second";
}

TEST_F(Watchdog, SendsNoMessageBeforeItsCheckHasSucceeded)
{
    const auto watchdog = halvex::startWatchdog();
    ASSERT_TRUE(watchdog);
    int checks = 0;
    watchdog->setCheck([&checks] {
        ++checks;
        return true;
    });
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
    EXPECT_GE(checks, 1);
}

/// A process with a watchdog, whose check is @p check.
class WatchedDaemon
{
public:
    explicit WatchedDaemon(const std::function<bool()> &check) : pid(fork())
    {
        if (pid == 0) {
            qputenv("WATCHDOG_PID", QByteArray::number(getpid()));
            const auto watchdog = halvex::startWatchdog();
            watchdog->setCheck(check);
            QEventLoop loop;
            _exit(loop.exec());
        }
    }
    WatchedDaemon(const WatchedDaemon &) = delete;
    WatchedDaemon &operator=(const WatchedDaemon &) = delete;
    ~WatchedDaemon()
    {
        EXPECT_EQ(kill(pid, SIGKILL), 0);
        EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
    }

    const pid_t pid;
};

/// Sends messages until the manager's queue is full.
void fillQueue()
{
    const halvex::FileDescriptor filler(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0));
    sockaddr_un address{AF_UNIX, "/run/notify"};
    ASSERT_EQ(connect(filler.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    while (send(filler.get(), "x", 1, 0) == 1) {
    }
}

TEST_F(Watchdog, AFailedCheckTriggersTheWatchdogAndStopsTheEventLoop)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK), 0);
    {
        const WatchedDaemon daemon([&ends] {
            // The event loop would deliver this event next, before it sleeps.
            QTimer::singleShot(0, [&ends] { static_cast<void>(write(ends[1], "x", 1)); });
            return false;
        });
        EXPECT_EQ(nextMessage(), "WATCHDOG=trigger");
        EXPECT_TRUE(waitFor([&daemon] { return sleeps(daemon.pid); }));
        char byte = 0;
        EXPECT_EQ(read(ends[0], &byte, 1), -1)
            << "the event loop delivered an event after the failed check";
    }
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Watchdog, ATriggerThatDoesNotFitIntoTheManagersQueueIsRepeated)
{
    fillQueue();
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const WatchedDaemon daemon([&ends] {
        static_cast<void>(write(ends[1], "x", 1));
        return false;
    });
    char byte = 0;
    ASSERT_EQ(read(ends[0], &byte, 1), 1);
    ASSERT_TRUE(waitFor([&daemon] { return sleeps(daemon.pid); }));
    EXPECT_EQ(nextMessageAfterTheFiller(), "WATCHDOG=trigger");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Watchdog, AManagerThatDoesNotReadDoesNotBlockTheDaemonAndGetsMessagesLater)
{
    fillQueue();
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK), 0);
    {
        const WatchedDaemon daemon([&ends] { return write(ends[1], "x", 1) == 1; });
        int checks = 0;
        // The watchdog sends a message after each check.
        EXPECT_TRUE(waitFor([&ends, &checks] {
            char byte = 0;
            checks += read(ends[0], &byte, 1) == 1 ? 1 : 0;
            return checks >= 3;
        })) << "the first message blocked the daemon";
        EXPECT_EQ(nextMessageAfterTheFiller(), "WATCHDOG=1");
    }
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Watchdog, WithAMissingManagerOrATooLongSocketNameTheEventLoopGoesOn)
{
    manager = {};
    for (const QByteArray &name : {QByteArray("/run/notify"), QByteArray(200, 'x')}) {
        setVariables();
        qputenv("NOTIFY_SOCKET", name);
        const auto watchdog = halvex::startWatchdog();
        ASSERT_TRUE(watchdog);
        int checks = 0;
        watchdog->setCheck([&checks] {
            ++checks;
            return true;
        });
        EXPECT_TRUE(waitFor([&checks] {
            QCoreApplication::processEvents();
            return checks >= 3;
        })) << name.constData();
    }
}

} // namespace
