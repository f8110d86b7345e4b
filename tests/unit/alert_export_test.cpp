// SPDX-License-Identifier: MIT
#include "stats/alert_export.h"
#include "support/command.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/printing.h"
#include "support/process_resources.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr const char *alerts = "/run/alerts";
constexpr const char *exportPath = "/tmp/halvex_alerts.log";
constexpr const char *victimPath = "/tmp/victim";
constexpr const char *asidePath = "/tmp/aside";

/// Renames @p from to @p to, if @p from exists.
void move(const char *from, const char *to)
{
    static_cast<void>(std::rename(from, to));
}

void makeFile(const char *path)
{
    close(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
}

class AlertExportModule : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(QDir().mkpath(alerts)); }

    int generate(const QString &directory, const QString &path)
    {
        return halvex::generateLogFile(worker, directory, path);
    }

    /// Appends all logs to @p output in this process, and returns the error.
    static QString append(const halvex::FileDescriptor &output)
    {
        const halvex::JobControl nobody;
        halvex::ExportWriter writer(output, exportPath, nobody, halvex::exportPatienceMs);
        return QString::fromStdString(halvex::appendAlertLogs(alerts, ".log", output, writer));
    }

    halvex::ExpendableWorker worker{"halvex-test"};

    MessageLog log;
};

TEST_F(AlertExportModule, AMissingDirectoryForTheExportIsAFailure)
{
    EXPECT_EQ(generate(alerts, "/tmp/missing/export.log"), -1);
    EXPECT_FALSE(QFile::exists("/tmp/missing"));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(AlertExportModule, AnExportIsWrittenThroughALinkedDirectory)
{
    ASSERT_TRUE(QDir().mkpath("/srv/real"));
    ASSERT_TRUE(QFile::link("/srv/real", "/srv/linked"));
    host::writeFile("/run/alerts/a.log", "a\n");
    EXPECT_EQ(generate(alerts, "/srv/linked/export.log"), 0);
    EXPECT_EQ(generate(alerts, "/srv/linked/export.log"), 0);
    EXPECT_EQ(host::readFile("/srv/real/export.log"), "a\n");
}

TEST_F(AlertExportModule, PathsMayHoldAnyCharacter)
{
    host::writeFile("/run/alerts/Prüfung ☂/ä.log", "ä\n");
    EXPECT_EQ(generate("/run/alerts/Prüfung ☂", "/tmp/Ausgabe (deleted)"), 0);
    EXPECT_EQ(generate("/run/alerts/Prüfung ☂", "/tmp/Ausgabe (deleted)"), 0);
    EXPECT_EQ(host::readFile("/tmp/Ausgabe (deleted)"), "ä\n");
}

TEST_F(AlertExportModule, ThePreparedFileIsEmptyAndOpenForAppending)
{
    host::writeFile(exportPath, "old\n", 0600);
    const halvex::FileDescriptor output = halvex::prepareExportFile(exportPath);
    ASSERT_TRUE(output.isOpen());
    EXPECT_EQ(host::readFile(exportPath), "");
    // A front end may write to the file at any time. Neither its text nor the export may be lost.
    host::writeFile(exportPath, "somebody's\n");
    EXPECT_EQ(write(output.get(), "ours\n", 5), 5);
    EXPECT_EQ(host::readFile(exportPath), "somebody's\nours\n");
    EXPECT_EQ(fcntl(output.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(AlertExportModule, AnUnreadableDirectoryEndsTheWalkButCopiedLogsStay)
{
    // Some file systems list the oldest file first, others the newest.
    for (int i = 0; i < 40; ++i) {
        if (i == 20) {
            ASSERT_EQ(mkdir("/run/alerts/locked", 0700), 0);
        }
        host::writeFile(QString("/run/alerts/%1.log").arg(i), QByteArray::number(i) + '\n');
    }
    QByteArray linesBeforeTheDirectory;
    for (const auto &entry : std::filesystem::directory_iterator(alerts)) {
        if (entry.path().filename() == "locked") {
            break;
        }
        linesBeforeTheDirectory += QByteArray::fromStdString(entry.path().stem()) + '\n';
    }
    ASSERT_NE(linesBeforeTheDirectory, "") << "the directory is listed first";
    const halvex::FileDescriptor output = halvex::prepareExportFile(exportPath);
    ASSERT_EQ(seteuid(2002), 0);
    const QString error = append(output);
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(host::readFile(exportPath), linesBeforeTheDirectory);
    EXPECT_TRUE(error.startsWith("filesystem error: ") && error.contains("Permission denied"))
        << qPrintable(error);
}

TEST_F(AlertExportModule, AnUnreadableTopDirectoryGivesOneError)
{
    ASSERT_EQ(chmod(alerts, 0700), 0);
    const halvex::FileDescriptor output = halvex::prepareExportFile(exportPath);
    ASSERT_EQ(seteuid(2002), 0);
    const QString error = append(output);
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(error, "filesystem error: recursive directory iterator cannot open directory: "
                     "Permission denied [/run/alerts]");
}

TEST_F(AlertExportModule, ALogThatCannotBeOpenedIsSkippedWithoutAMessage)
{
    host::writeFile("/run/alerts/a.log", "a\n", 0644);
    host::writeFile("/run/alerts/b.log", "b\n", 0600);
    const halvex::FileDescriptor output = halvex::prepareExportFile(exportPath);
    ASSERT_EQ(seteuid(2002), 0);
    const QString error = append(output);
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(host::readFile(exportPath), "a\n");
    EXPECT_EQ(error, "");
}

/// Holds a lease on a file during its lifetime: opening the file blocks until the lease is
/// released.
class Lease
{
public:
    Lease(const char *path, int type)
        : file(open(path, (type == F_RDLCK ? O_RDONLY : O_RDWR) | O_CREAT | O_CLOEXEC, 0600))
    {
        // The kernel requests the release of the lease by a signal, which would end this process.
        static_cast<void>(signal(SIGIO, SIG_IGN));
        taken = fcntl(file.get(), F_SETLEASE, type) == 0;
    }

    bool taken = false;

private:
    halvex::FileDescriptor file;
};

TEST_F(AlertExportModule, ALogUnderALeaseIsSkippedWithoutAMessage)
{
    host::writeFile("/run/alerts/a.log", "a\n");
    host::writeFile("/run/alerts/b.log", "b\n");
    const Lease lease("/run/alerts/b.log", F_WRLCK);
    ASSERT_TRUE(lease.taken);
    EXPECT_EQ(generate(alerts, exportPath), 0);
    EXPECT_EQ(host::readFile(exportPath), "a\n");
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(AlertExportModule, AFileWhoseModeCannotBeSetIsAFailure)
{
    host::writeFile(exportPath, "old\n", 0666);
    ASSERT_EQ(seteuid(2002), 0);
    const bool prepared = halvex::prepareExportFile(exportPath).isOpen();
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_FALSE(prepared);
    EXPECT_EQ(host::readFile(exportPath), "");
}

TEST_F(AlertExportModule, AFileThatCannotBeEmptiedIsAFailure)
{
    host::writeFile(exportPath, "old\n", 0600);
    {
        const halvex::FileDescriptor file(open(exportPath, O_RDONLY | O_CLOEXEC));
        int onlyAppending = FS_APPEND_FL;
        ASSERT_EQ(ioctl(file.get(), FS_IOC_SETFLAGS, &onlyAppending), 0);
    }
    EXPECT_EQ(generate(alerts, exportPath), -1);
    EXPECT_EQ(host::readFile(exportPath), "old\n");
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(AlertExportModule, AFullDiskIsAnError)
{
    host::writeFile("/run/alerts/a.log", "a\n");
    const halvex::FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ASSERT_TRUE(full.isOpen());
    EXPECT_EQ(append(full), "filesystem error: cannot write: No space left on device "
                            "[/tmp/halvex_alerts.log]");
}

/// Exports logs of sizes around those at which the copying method changes.
void expectExportsOfAllSizes(halvex::ExpendableWorker &worker, const char *path)
{
    constexpr int block = 1 << 17;
    for (const int size :
         {block - 1, block, block + 1, 2 * block, 4 * block + 1, 1 << 22, 9 << 20}) {
        const QByteArray bytes(size, 'x');
        for (const QByteArray &ending : {QByteArray(), QByteArray("\n"), QByteArray("\ny\n\n")}) {
            host::writeFile("/run/alerts/a.log", bytes + ending);
            host::writeFile("/run/alerts/b.log", "b\n");
            ASSERT_EQ(halvex::generateLogFile(worker, alerts, path), 0);
            const QByteArray lines = bytes + (ending.isEmpty() ? "\n" : ending);
            const QByteArray content = host::readFile(path);
            EXPECT_TRUE(content == lines + "b\n" || content == "b\n" + lines)
                << size << " bytes and " << ending.size();
        }
    }
}

TEST_F(AlertExportModule, LogsOfAllSizesAreCopied)
{
    expectExportsOfAllSizes(worker, "/run/export.log");
}

TEST_F(AlertExportModule, LogsOfAllSizesAreCopiedToAnotherFileSystem)
{
    // The kernel has no direct way to copy between these two file systems.
    ASSERT_TRUE(QDir().mkpath("/srv/other"));
    ASSERT_EQ(host::run({"mount", "-t", "ramfs", "ramfs", "/srv/other"}).exitCode, 0);
    expectExportsOfAllSizes(worker, "/srv/other/export.log");
}

TEST_F(AlertExportModule, ALongLogIsAppendedToTheTextOfAnotherProgram)
{
    const QByteArray bytes = QByteArray(1 << 20, 'x') + '\n';
    host::writeFile("/run/alerts/a.log", bytes);
    const halvex::FileDescriptor output = halvex::prepareExportFile("/run/export.log");
    host::writeFile("/run/export.log", "somebody's\n");
    EXPECT_EQ(append(output), "");
    EXPECT_TRUE(host::readFile("/run/export.log") == "somebody's\n" + bytes);
    EXPECT_TRUE(fcntl(output.get(), F_GETFL) & O_APPEND);
}

TEST_F(AlertExportModule, MemoryGrowsNeitherWithALinesLengthNorWithTheNumberOfLogs)
{
    constexpr off_t lineLength = 256L << 20L;
    constexpr int logs = 3000;
    host::writeFile("/run/alerts/long.log", "x");
    ASSERT_EQ(truncate("/run/alerts/long.log", lineLength), 0);
    for (int i = 0; i < logs; ++i) {
        host::writeFile(QString("/run/alerts/%1/%2.log").arg(i % 10).arg(i), "x\n");
    }
    const halvex::FileDescriptor output = halvex::prepareExportFile(exportPath);
    const int before = memoryOf(getpid(), "VmHWM");
    ASSERT_EQ(append(output), "");
    EXPECT_LT(memoryOf(getpid(), "VmHWM"), before + 8 * 1024);
    struct stat status = {};
    ASSERT_EQ(stat(exportPath, &status), 0);
    EXPECT_EQ(status.st_size, lineLength + 1 + 2L * logs);
}

/// A thread that changes what is at a path, again and again, while the export works on it.
class Swapper
{
public:
    explicit Swapper(std::function<void()> swap)
        : thread([this, swap = std::move(swap)] {
              while (!enough) {
                  swap();
              }
          })
    {}

    ~Swapper()
    {
        enough = true;
        thread.join();
    }

    Swapper(const Swapper &) = delete;
    Swapper &operator=(const Swapper &) = delete;

private:
    std::atomic_bool enough = false;
    std::thread thread;
};

/// Exports while the export path is being swapped, and expects that root's file never changes.
class SwappedExport : public AlertExportModule
{
protected:
    void SetUp() override
    {
        AlertExportModule::SetUp();
        unlink(exportPath);
        host::writeFile(victimPath, "precious\n", 0640);
        host::writeFile("/run/alerts/a.log", "alert\n");
    }

    void exportWhile(std::function<void()> swap)
    {
#ifdef __SANITIZE_ADDRESS__ // fewer rounds are enough for memory errors
        constexpr int rounds = 5000;
#else
        constexpr int rounds = 50000;
#endif
        const Swapper swapper(std::move(swap));
        for (int round = 0; round < rounds; ++round) {
            const int status = generate(alerts, exportPath);
            ++(status == 0 ? exported : refused);
            ASSERT_TRUE(status == 0 || status == -1) << status;
            struct stat victim = {};
            ASSERT_EQ(stat(victimPath, &victim), 0);
            ASSERT_EQ(victim.st_size, 9) << "in round " << round;
            ASSERT_EQ(victim.st_mode, S_IFREG | 0640U) << "in round " << round;
        }
    }

    void TearDown() override
    {
        EXPECT_EQ(host::readFile(victimPath), "precious\n");
        // If a count is 0, either no swap came in time or no export ever succeeded.
        EXPECT_GT(exported, 0);
        EXPECT_GT(refused, 0);
    }

    int exported = 0;
    int refused = 0;
};

TEST_F(SwappedExport, ChangesNoFileThroughAHardLinkThatIsMadeAndRemoved)
{
    // The critical moment is rare: the opened file has one link left, but not at this path.
    // export_steps_test.cpp produces this moment in every run.
    exportWhile([] {
        static_cast<void>(link(victimPath, exportPath));
        unlink(exportPath);
    });
}

TEST_F(SwappedExport, ChangesNoFileThroughAHardLinkThatIsReplacedByAPlainFile)
{
    exportWhile([] {
        static_cast<void>(link(victimPath, asidePath));
        move(asidePath, exportPath);
        makeFile(asidePath);
        move(asidePath, exportPath);
    });
}

TEST_F(SwappedExport, ChangesNoFileThroughAHardLinkThatIsRenamedAwayAndBack)
{
    ASSERT_EQ(link(victimPath, exportPath), 0);
    exportWhile([] {
        move(exportPath, asidePath);
        makeFile(exportPath);
        move(asidePath, exportPath);
    });
}

TEST_F(SwappedExport, ChangesNoFileThroughASymbolicLinkInPlaceOfAPlainFile)
{
    exportWhile([] {
        static_cast<void>(symlink(victimPath, asidePath));
        move(asidePath, exportPath);
        makeFile(asidePath);
        move(asidePath, exportPath);
    });
}

TEST_F(SwappedExport, IsNotBlockedByAFifoInPlaceOfAPlainFile)
{
    exportWhile([] {
        static_cast<void>(mkfifo(asidePath, 0600));
        move(asidePath, exportPath);
        makeFile(asidePath);
        move(asidePath, exportPath);
    });
}

TEST_F(SwappedExport, IsNotBlockedByALeaseThatIsTakenAgainAndAgain)
{
    exportWhile([] {
        unlink(exportPath);
        const Lease lease(exportPath, F_WRLCK);
    });
}

TEST_F(AlertExportModule, ALogTruncatedDuringTheExportStillEndsWithALineFeed)
{
    constexpr const char *logPath = "/run/alerts/a.log";
    host::writeFile(logPath, QByteArray(1 << 20, 'x'));
    const Swapper swapper([] {
        static_cast<void>(truncate(logPath, 200000));
        static_cast<void>(truncate(logPath, 1 << 22));
    });
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(generate(alerts, "/run/export.log"), 0);
        ASSERT_TRUE(host::readFile("/run/export.log").endsWith('\n')) << "in round " << round;
    }
}

TEST_F(AlertExportModule, ALogReplacedByAFifoIsNotWaitedFor)
{
    constexpr const char *logPath = "/run/alerts/a.log";
    constexpr const char *spare = "/run/spare";
    const Swapper swapper([] {
        static_cast<void>(mkfifo(spare, 0600));
        move(spare, logPath);
        host::writeFile(spare, "alert\n");
        move(spare, logPath);
    });
    int found = 0;
    for (int round = 0; round < 20000; ++round) {
        ASSERT_EQ(generate(alerts, exportPath), 0);
        const QByteArray content = host::readFile(exportPath);
        ASSERT_TRUE(content == "alert\n" || content.isEmpty()) << content.constData();
        found += content.isEmpty() ? 0 : 1;
    }
    EXPECT_GT(found, 0);
}

} // namespace
