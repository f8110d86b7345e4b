// SPDX-License-Identifier: MIT
//
// The gate's questions to the bus, when one reply is lost or wrong. The daemon is connected to a
// relay, which holds back or replaces that reply. Callers are connected to the bus itself.
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/machine_deadline.h"
#include "support/service_manager.h"
#include "support/settings_paths.h"

namespace {

using settings::notifyPath;

constexpr const char *relayPath = "/run/bus-relay";
const QByteArray notifySettings = "<ossec_config><alerts><notify>"
                                  "<notify_disabled>0</notify_disabled>"
                                  "<notify_timeout>30</notify_timeout>"
                                  "<notify_fold>1</notify_fold>"
                                  "</notify></alerts></ossec_config>\n";

/// A question that the gate asks the bus about each caller.
struct Question
{
    const char *member;
    int number; ///< among the questions with the same member
};

constexpr Question processId{"GetConnectionUnixProcessID", 1};
/// The gate does not wait for the reply to the first question about the user.
constexpr Question userId{"GetConnectionUnixUser", 2};
/// The confirmation of the user id, only for a change.
constexpr Question userIdAgain{"GetConnectionUnixUser", 3};

class UnansweredQuestions : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        host::writeFile(notifyPath, notifySettings);
        relay.start(BUS_RELAY, {relayPath});
        ASSERT_EQ(nextLineOfRelay(), "ready");
        startDaemon(soundEnvironment + ServiceManager::variables() +
                    QStringList{QString("DBUS_SYSTEM_BUS_ADDRESS=unix:path=%1").arg(relayPath)});
    }

    void TearDown() override
    {
        DaemonHost::TearDown();
        relay.kill();
        relay.waitForFinished();
    }

    /// Holds back the reply to @p question for the next caller.
    void holdReply(const Question &question)
    {
        order(QString("hold %1 %2").arg(question.member).arg(question.number));
    }

    /// Replaces the reply to @p question for the next caller by @p number.
    void replaceReply(const Question &question, unsigned number)
    {
        order(QString("replace %1 %2 %3").arg(question.member).arg(question.number).arg(number));
    }

    void expectOrderObeyed() { EXPECT_EQ(nextLineOfRelay(), "obeyed"); }

    [[nodiscard]] Reply changeAs(unsigned uid) { return call("setNotifyConfig", change, {uid}); }

    [[nodiscard]] Reply readAs(unsigned uid) { return call("getNotifyConfig", {}, {uid}); }

    static bool isUnchanged() { return host::readFile(notifyPath) == notifySettings; }

    inline static const QStringList change{"1", "60", "0"};
    inline static const Reply refused{-999};
    inline static const Reply served{0, {"0", "30", "1"}};
    inline static const Reply changed{0};

    const ServiceManager manager;

private:
    void order(const QString &line)
    {
        relay.write(line.toUtf8() + '\n');
        ASSERT_EQ(nextLineOfRelay(), "ordered");
    }

    QByteArray nextLineOfRelay()
    {
        constexpr int lineTimeoutMs = 10000;
        MachineDeadline deadline(lineTimeoutMs);
        while (!relay.canReadLine() && !deadline.hasExpired()) {
            relay.waitForReadyRead(MachineDeadline::stepMs);
        }
        EXPECT_TRUE(relay.canReadLine()) << relay.readAllStandardError().constData();
        return relay.readLine().trimmed();
    }

    QProcess relay;
};

TEST_F(UnansweredQuestions, AnOrdinaryUserIsRefusedAChangeIfTheReplyAboutItsIdIsHeldBack)
{
    // The user id is then taken as 0, so only the comparison with the last reply refuses the
    // caller.
    holdReply(userId);
    EXPECT_EQ(changeAs(user::ordinary), refused);
    expectOrderObeyed();
    EXPECT_TRUE(isUnchanged());
}

TEST_F(UnansweredQuestions, AnOrdinaryUserMayReadIfTheReplyAboutItsIdIsHeldBack)
{
    holdReply(userId);
    EXPECT_EQ(readAs(user::ordinary), served);
    expectOrderObeyed();
}

TEST_F(UnansweredQuestions, AnOrdinaryUserIsRefusedAChangeIfTheReplyAboutItsIdNamesRoot)
{
    replaceReply(userId, user::root);
    EXPECT_EQ(changeAs(user::ordinary), refused);
    expectOrderObeyed();
    EXPECT_TRUE(isUnchanged());
}

TEST_F(UnansweredQuestions, RootIsRefusedAChangeIfItsIdIsNotConfirmed)
{
    holdReply(userIdAgain);
    EXPECT_EQ(changeAs(user::root), refused);
    expectOrderObeyed();
    EXPECT_TRUE(isUnchanged());
    EXPECT_EQ(changeAs(user::root), changed);
    EXPECT_FALSE(isUnchanged());
}

TEST_F(UnansweredQuestions, RootIsRefusedAChangeIfTheConfirmationOfItsIdNamesAnotherUser)
{
    replaceReply(userIdAgain, user::ordinary);
    EXPECT_EQ(changeAs(user::root), refused);
    expectOrderObeyed();
    EXPECT_TRUE(isUnchanged());
    EXPECT_EQ(changeAs(user::root), changed);
    EXPECT_FALSE(isUnchanged());
}

TEST_F(UnansweredQuestions, ACallerIsRefusedWithAWarningIfTheReplyAboutItsProcessIdIsHeldBack)
{
    holdReply(processId);
    EXPECT_EQ(readAs(user::ordinary).status, refused.status);
    expectOrderObeyed();
    holdReply(processId);
    EXPECT_EQ(changeAs(user::root), refused);
    expectOrderObeyed();
    EXPECT_TRUE(isUnchanged());
    const QString warning = "Failed to get caller PID";
    EXPECT_EQ(daemonMessages(), (QStringList{"dbus service start ", warning, warning}));
    EXPECT_EQ(readAs(user::ordinary), served);
}

TEST_F(UnansweredQuestions, AreGivenUpWithinSeconds)
{
    // Without a time-out of the gate's own, the bus library waits for 25 seconds.
    constexpr int answerTimeoutMs = 10000;
    for (const Question &question : {processId, userId, userIdAgain}) {
        holdReply(question);
        QProcess caller;
        const QStringList command =
            frontEndCommand({}, QStringList{"--json", "setNotifyConfig"} + change);
        caller.start(command.first(), command.mid(1));
        ASSERT_TRUE(caller.waitForStarted(patienceMs));
        EXPECT_TRUE(exitsWithin(caller, answerTimeoutMs))
            << question.member << ' ' << question.number;
        expectOrderObeyed();
        caller.kill();
        caller.waitForFinished();
    }
}

/// The ping that the daemon sends to the bus from time to time.
constexpr Question ping{"GetId", 1};

TEST_F(UnansweredQuestions, AnUnansweredPingEndsADaemonThatSpendsNearlyAllItsTimeInAcceptedCalls)
{
    host::writeScript("/usr/sbin/getstatus", "sleep 1\n");
    EXPECT_EQ(readAs(user::ordinary), served);
    holdReply(ping);
    expectOrderObeyed();
    // These calls take at least half a minute together. The ping may take five seconds.
    constexpr int maxCalls = 30;
    bool hasAsked = false;
    for (int i = 0; i < maxCalls && !hasAsked; ++i) {
        QProcess caller;
        const QStringList command = frontEndCommand({}, {"--json", "getNotifyConfig"});
        caller.start(command.first(), command.mid(1));
        // A daemon that has asked for a restart does not answer any more.
        EXPECT_TRUE(waitFor([&] {
            hasAsked = hasAsked || manager.isAskedForRestart();
            return hasAsked || caller.waitForFinished(10);
        }));
        caller.kill();
        caller.waitForFinished();
    }
    EXPECT_TRUE(hasAsked);
}

} // namespace
