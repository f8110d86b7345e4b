// SPDX-License-Identifier: MIT
//
// Under a service manager: the daemon's keep-alive messages, and what it sends when the bus does
// not answer.
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/service_manager.h"

#include <QByteArray>
#include <QThread>

#include <csignal>
#include <sys/stat.h>

namespace {

class BusWatch : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        startDaemon(soundEnvironment + ServiceManager::variables());
    }

    /// The daemon's next message; empty if it sends none.
    [[nodiscard]] QByteArray nextMessage() const { return manager.nextMessage(); }

    QByteArray messageBesidesKeepAlive()
    {
        constexpr int maxKeepAlives = 60; // a minute
        QByteArray message = nextMessage();
        for (int i = 0; i < maxKeepAlives && message == "WATCHDOG=1"; ++i) {
            message = nextMessage();
        }
        return message;
    }

    /// Makes each call take 0.4 seconds in the gate, and logs when it begins and ends there.
    static void slowTheGateDown()
    {
        host::writeScript("/usr/sbin/getstatus", "echo begin >>/run/gate.log; sleep 0.4; "
                                                 "echo end >>/run/gate.log\n");
        host::writeFile(gateLog, "");
    }

    /// Sends @p count calls from a program at @p path, without waiting for answers.
    void sendCalls(int count, const QString &path)
    {
        host::writeFile(path, host::readFile(FLOOD), 0755);
        // The sender must stay on the bus: otherwise the gate refuses its calls without running the
        // tool.
        const QStringList command =
            frontEndCommand({user::ordinary, path}, {"--small", QString::number(count), "--stay"});
        sender.start(command.first(), command.mid(1));
        ASSERT_TRUE(sender.waitForReadyRead(patienceMs))
            << sender.readAllStandardError().constData();
    }

    /// How often @p word, "begin" or "end", occurs in the gate's log.
    static int noted(const char *word) { return host::readFile(gateLog).count(word); }

    void TearDown() override
    {
        sender.kill();
        sender.waitForFinished();
        DaemonHost::TearDown();
    }

    static constexpr const char *gateLog = "/run/gate.log";
    QProcess sender;
    const ServiceManager manager;
};

TEST_F(BusWatch, AnIdleDaemonSendsOnlyKeepAliveMessages)
{
    // Wait for longer than the bus may take to answer.
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(nextMessage(), "WATCHDOG=1");
    }
}

TEST_F(BusWatch, ADaemonWithALongCallSendsOnlyKeepAliveMessages)
{
    // Wait for longer than the bus may take to answer.
    host::writeScript("/usr/sbin/getstatus", "exec sleep 7\n");
    EXPECT_EQ(call("getEventTotalCount", {}, Caller{user::ordinary}).status, -1);
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(nextMessage(), "WATCHDOG=1");
    }
}

TEST_F(BusWatch, ADaemonWithAQueueOfAcceptedCallsSendsOnlyKeepAliveMessages)
{
    constexpr int calls = 20; // eight seconds, longer than the bus may take to answer
    slowTheGateDown();
    sendCalls(calls, "/usr/sbin/halvex-desktop");
    int messagesAfterwards = 0;
    while (messagesAfterwards < 10) {
        ASSERT_EQ(nextMessage(), "WATCHDOG=1");
        messagesAfterwards += noted("end") == calls ? 1 : 0;
    }
}

TEST_F(BusWatch, ADaemonWithAQueueOfRefusedCallsAsksForItsEndBetweenTwoCalls)
{
    constexpr int calls = 100;
    ASSERT_EQ(mkfifo("/run/gate", 0600), 0);
    host::writeScript("/usr/sbin/getstatus", "echo begin >>/run/gate.log; cat /run/gate\n");
    host::writeFile(gateLog, "");
    sendCalls(calls, "/usr/local/bin/stranger");
    bool hasAsked = false;
    for (int begun = 1; begun < calls && !hasAsked; ++begun) {
        ASSERT_TRUE(waitFor([&] {
            hasAsked = hasAsked || manager.isAskedForRestart();
            return hasAsked || noted("begin") == begun;
        }));
        // The call has begun, so all messages that the daemon sent before it have arrived. Take
        // them.
        hasAsked = hasAsked || manager.isAskedForRestart();
        if (!hasAsked) {
            QThread::msleep(400); // time in which the daemon could ask
            EXPECT_FALSE(manager.isAskedForRestart()) << "the daemon asks in the middle of a call";
            host::writeFile("/run/gate", "\n");
        } else {
            EXPECT_GT(begun, 1);
        }
    }
    EXPECT_TRUE(hasAsked) << "the daemon did not ask before all calls were served";
}

TEST_F(BusWatch, ADaemonThatHasLostTheBusAsksForItsEnd)
{
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
    bus.kill();
    ASSERT_TRUE(bus.waitForFinished(patienceMs));
    EXPECT_EQ(messageBesidesKeepAlive(), "WATCHDOG=trigger");
}

TEST_F(BusWatch, ADaemonWhoseGateHasLostTheBusAsksForItsEnd)
{
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
    // The gate's connection is the daemon's first one, so it has the lowest descriptor.
    const auto cut = host::run({CUT_BUS, QString::number(daemon.processId()), "1"});
    ASSERT_EQ(cut.exitCode, 0) << cut.errors.constData();
    EXPECT_EQ(messageBesidesKeepAlive(), "WATCHDOG=trigger");
}

TEST_F(BusWatch, ADaemonWhoseBusDoesNotAnswerAsksForItsEnd)
{
    EXPECT_EQ(nextMessage(), "WATCHDOG=1");
    ASSERT_EQ(kill(static_cast<pid_t>(bus.processId()), SIGSTOP), 0);
    EXPECT_EQ(messageBesidesKeepAlive(), "WATCHDOG=trigger");
    ASSERT_EQ(kill(static_cast<pid_t>(bus.processId()), SIGCONT), 0);
}

} // namespace
