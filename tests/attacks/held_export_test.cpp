// SPDX-License-Identifier: MIT
//
// An export while another process writes to the export's file, and the data to write never arrives.
// The writing process holds the file's lock, which every other change of the file needs.
#include "attacks/attacked_host.h"
#include "stats/export_file.h"
#include "support/host_files.h"
#include "support/machine_deadline.h"

#include <QDir>
#include <QThread>

#include <chrono>

namespace {

constexpr const char *exportPath = "/tmp/halvex_alerts.log";
constexpr int answerTimeoutMs = 8000;

class Export : public AttackedHost
{
protected:
    static void startExport(QProcess &process)
    {
        const QStringList command =
            frontEndCommand(bystander::caller, {"--json", "generateLogFile"});
        process.start(command.first(), command.mid(1));
        ASSERT_TRUE(process.waitForStarted(patienceMs));
    }

    /// The status in the answer to the front end @p process, which has to come in time.
    static int statusOf(QProcess &process)
    {
        EXPECT_TRUE(exitsWithin(process, answerTimeoutMs)) << "no answer in time";
        process.kill();
        process.waitForFinished();
        return parseReply(process.readAllStandardOutput()).status;
    }

    /// Takes the export file's lock.
    void holdExportFile()
    {
        QProcess &file = attackers.startHangingFile(user::ordinary);
        attackers.start({"blocked-write", exportPath, Attackers::hangingFile()}, user::ordinary);
        ASSERT_EQ(linesUntil(file, "read", patienceMs), QStringList());
    }
};

class HeldExport : public Export
{
protected:
    void SetUp() override
    {
        Export::SetUp();
        host::writeFile("/var/log/halvex/logs/alerts/a.log", "alert\n");
        // On a busy machine an export may make so little progress that the daemon gives it up.
        ASSERT_TRUE(
            waitFor([this] { return call("generateLogFile", {}, bystander::caller) == Reply{0}; }));
        holdExportFile();
    }
};

TEST_F(HeldExport, FailsWithinSeconds)
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

TEST_F(HeldExport, LeavesNothingBehindOnceTheLockIsReleased)
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

// --- while the logs are copied ---

/// An export whose logs come slowly: it has copied the first half, and waits for the second.
class SlowExport : public Export
{
protected:
    void SetUp() override
    {
        Export::SetUp();
        const QString directory = "/var/log/halvex/logs/alerts";
        ASSERT_TRUE(QDir().mkpath(directory));
        log = &attackers.start({"slow-log", directory}, user::root);
        ASSERT_EQ(linesUntil(*log, "ready", patienceMs), QStringList())
            << log->readAllStandardError().constData();
        startExport(exporter);
        ASSERT_EQ(linesUntil(*log, "waiting", patienceMs), QStringList());
        ASSERT_EQ(host::readFile(exportPath), lines(bytes / 2));
    }

    void TearDown() override
    {
        Export::TearDown();
        exporter.kill();
        exporter.waitForFinished();
    }

    /// Lets the second half be read.
    void finishLog()
    {
        log->write("\n");
        ASSERT_TRUE(log->waitForBytesWritten(patienceMs));
    }

    static QByteArray lines(int size) { return QByteArray("alert!!\n").repeated(size / 8); }

    static constexpr int bytes = 4 << 20;
    QProcess exporter;

private:
    QProcess *log = nullptr;
};

TEST_F(SlowExport, WhoseFileIsLockedIsGivenUpWithinSecondsAndKeepsTheFirstHalf)
{
    holdExportFile();
    finishLog();
    EXPECT_EQ(statusOf(exporter), 0);
    EXPECT_TRUE(isServedWithin(answerTimeoutMs));
    EXPECT_EQ(daemonMessages().last(),
              "Filesystem error:  the export was given up [/tmp/halvex_alerts.log]");
    EXPECT_TRUE(host::readFile(exportPath).startsWith(lines(bytes / 2)));
}

TEST_F(SlowExport, OfALogThatArrivesSlowlyIsComplete)
{
    // Longer than the daemon waits for a write to the export that is blocked.
    QThread::msleep(2 * std::chrono::milliseconds(halvex::exportPatienceMs).count());
    finishLog();
    EXPECT_EQ(statusOf(exporter), 0);
    EXPECT_TRUE(host::readFile(exportPath) == lines(bytes));
    EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
}

} // namespace
