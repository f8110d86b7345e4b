// SPDX-License-Identifier: MIT
//
// An ordinary user forges the bus's replies to the gate. Serials are consecutive, so an attacker
// can predict them, and libdbus accepts any reply with the right serial. Only the bus can refuse a
// forged reply.
#include "forgeries/forgery_host.h"
#include "support/host_files.h"

#include <QRegularExpression>

namespace {

class ForgedReplies : public ForgeryHost
{
protected:
    void SetUp() override
    {
        ForgeryHost::SetUp();
        startDaemon();
    }

    void TearDown() override
    {
        forger.kill();
        forger.waitForFinished();
        ForgeryHost::TearDown();
    }

    /// Starts the forger, and returns once the bus has passed on or refused its first round of
    /// replies.
    void startForging(const QStringList &answer)
    {
        // The daemon asks the bus at most four questions for each call, so 200 serials are enough.
        const QStringList command =
            frontEndCommand(Caller{user::ordinary, FORGER}, QStringList{"replies", "200"} + answer);
        forger.start(command.first(), command.mid(1));
        ASSERT_TRUE(forger.waitForReadyRead(patienceMs))
            << forger.readAllStandardError().constData();
        ASSERT_EQ(forger.readLine(), "begun\n");
    }

    /// Stops the forger, and expects that the bus has refused every reply.
    void stopForging()
    {
        forger.closeWriteChannel();
        ASSERT_TRUE(forger.waitForFinished(patienceMs));
        const QString counts = QString::fromUtf8(forger.readAllStandardOutput());
        const auto match = QRegularExpression("^(\\d+) sent, (\\d+) refused\n$").match(counts);
        ASSERT_TRUE(match.hasMatch()) << qPrintable(counts);
        EXPECT_GE(match.captured(1).toInt(), 200);
        EXPECT_EQ(match.captured(1), match.captured(2));
    }

    /// Lets @p caller call while the answers are forged, and expects every call to be refused. The
    /// gate holds the first call until the forging has begun; 20 more calls follow.
    void expectNeverLetIn(const QStringList &words, const Caller &caller, const QStringList &answer)
    {
        holdGate();
        QProcess held;
        startOdd(held, QStringList{"pause"} + words, caller);
        held.closeWriteChannel();
        awaitHeldGate();
        startForging(answer);
        releaseGate();
        EXPECT_EQ(finishOdd(held).status, -999);
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(odd(words, caller).status, -999);
        }
        stopForging();
        expectNothingDone();
        expectItServes();
    }

    static Caller stranger() { return Caller{user::ordinary, "/usr/local/bin/stranger"}; }

    QProcess forger;
};

TEST_F(ForgedReplies, ThatClaimUserZeroAreRefusedByTheBus)
{
    expectNeverLetIn(changing, runBy(user::ordinary), {"u=0"});
}

TEST_F(ForgedReplies, ThatAreErrorsAreRefusedByTheBus)
{
    expectNeverLetIn(changing, runBy(user::ordinary), {});
}

TEST_F(ForgedReplies, ThatClaimAFrontEndsProcessIdAreRefusedByTheBus)
{
    QProcess frontEnd;
    const pid_t process = startOdd(frontEnd, QStringList{"pause"} + reading, runBy(user::root));
    // If the gate believed this process id, it would let the stranger read.
    expectNeverLetIn(reading, stranger(), {QString("u=%1").arg(process)});
    expectLetIn(finishOdd(frontEnd));
}

} // namespace
