// SPDX-License-Identifier: MIT
//
// An export whose file somebody else holds: a write from memory that never comes has the lock that
// every other change of the file needs.
#include "attacks/attacked_host.h"
#include "support/host_files.h"

namespace {

constexpr const char *exportPath = "/tmp/halvex_alerts.log";
constexpr int answerTimeoutMs = 8000;

class HeldExport : public AttackedHost
{
protected:
    void SetUp() override
    {
        AttackedHost::SetUp();
        host::writeFile("/var/log/halvex/logs/alerts/a.log", "alert\n");
        ASSERT_EQ(call("generateLogFile", {}, bystander::caller), Reply{0});
        QProcess &file = attackers.startHangingFile(user::ordinary);
        attackers.start({"blocked-write", exportPath, Attackers::hangingFile()}, user::ordinary);
        ASSERT_EQ(linesUntil(file, "read", patienceMs), QStringList());
    }

    static void startExport(QProcess &process)
    {
        const QStringList command =
            frontEndCommand(bystander::caller, {"--json", "generateLogFile"});
        process.start(command.first(), command.mid(1));
        ASSERT_TRUE(process.waitForStarted());
    }

    /// The status that @p process, a front end that has called, gets in time.
    static int statusOf(QProcess &process)
    {
        EXPECT_TRUE(process.waitForFinished(answerTimeoutMs)) << "no answer in time";
        process.kill();
        process.waitForFinished();
        return parseReply(process.readAllStandardOutput()).status;
    }
};

TEST_F(HeldExport, IsAFailureWithinSeconds)
{
    QProcess exporter;
    startExport(exporter);
    EXPECT_TRUE(isServedWithin(answerTimeoutMs));
    EXPECT_EQ(statusOf(exporter), -1);
}

TEST_F(HeldExport, DoesNotKeepTheDaemonFromBeingKilled)
{
    QProcess exporter;
    startExport(exporter);
    EXPECT_EQ(statusOf(exporter), -1);
    expectItCanBeKilled();
}

TEST_F(HeldExport, LeavesNothingBehindOnceItIsLetGo)
{
    const int before = tasksOfDaemon();
    for (int i = 0; i < 4; ++i) {
        QProcess exporter;
        startExport(exporter);
        EXPECT_EQ(statusOf(exporter), -1) << i;
    }
    EXPECT_TRUE(isServedWithin(answerTimeoutMs));
    attackers.endAll();
    EXPECT_TRUE(waitFor([this] {
        return call("generateLogFile", {}, bystander::caller) == Reply{0} &&
               host::readFile(exportPath) == "alert\n";
    }));
    EXPECT_TRUE(waitFor([&] { return tasksOfDaemon() <= before; })) << tasksOfDaemon();
}

} // namespace
