// SPDX-License-Identifier: MIT
//
// An ordinary user answers the gate's questions to the bus: serials are counted, so they can be
// predicted, and libdbus takes any answer that has the right one. The bus alone stands in between.
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

    /// Starts to forge, and returns once the first round of answers has been passed on or refused.
    void startForging(const QStringList &answer)
    {
        // Each call takes four questions or so.
        const QStringList command =
            frontEndCommand(Caller{user::ordinary, FORGER}, QStringList{"replies", "200"} + answer);
        forger.start(command.first(), command.mid(1));
        ASSERT_TRUE(forger.waitForReadyRead(patienceMs))
            << forger.readAllStandardError().constData();
        ASSERT_EQ(forger.readLine(), "begun\n");
    }

    /// Stops, and expects the bus to have refused each single answer.
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

    /// Has @p caller call while the answers are forged: once held in the gate when the forging
    /// begins, and 20 times after that.
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

TEST_F(ForgedReplies, ThatClaimUserZeroMakeNoAdministrator)
{
    expectNeverLetIn(changing, runBy(user::ordinary), {"u=0"});
}

TEST_F(ForgedReplies, ThatAreErrorsMakeNoAdministrator)
{
    expectNeverLetIn(changing, runBy(user::ordinary), {});
}

TEST_F(ForgedReplies, ThatClaimAFrontEndsProcessMakeNoFrontEnd)
{
    QProcess frontEnd;
    const pid_t process = startOdd(frontEnd, QStringList{"pause"} + reading, runBy(user::root));
    expectNeverLetIn(changing, stranger(), {QString("u=%1").arg(process)});
    // The held gate leaves a status tool that answers at once.
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(odd(reading, stranger()).status, -999);
    }
    expectLetIn(finishOdd(frontEnd));
}

} // namespace
