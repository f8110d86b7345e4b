// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"
#include "support/host_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const QString alerts = "/var/log/halvex/logs/alerts";
constexpr const char *exportPath = "/tmp/halvex_alerts.log";

/// Has the research engine's directory tree of alerts, and reads the export as a front end does.
class AlertExport : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        ASSERT_TRUE(QDir().mkpath(alerts));
    }

    static void writeLog(const QString &name, const QByteArray &bytes)
    {
        host::writeFile(alerts + '/' + name, bytes, 0600);
    }

    /// Makes an ordinary user's front end request the export, and returns the export's content.
    QByteArray exported()
    {
        EXPECT_EQ(call("generateLogFile", {}, Caller{user::ordinary}), (Reply{0}));
        return host::readFile(exportPath);
    }

    /// The sorted lines of the export. Their original order depends on the file system.
    QList<QByteArray> exportedLines()
    {
        QList<QByteArray> lines = exported().split('\n');
        EXPECT_EQ(lines.takeLast(), QByteArray());
        std::sort(lines.begin(), lines.end());
        return lines;
    }

    static unsigned exportMode()
    {
        struct stat status = {};
        EXPECT_EQ(stat(exportPath, &status), 0);
        return status.st_mode & 07777U;
    }

    /// The messages since the daemon's start.
    static QStringList messagesOfTheCall()
    {
        const QStringList messages = daemonMessages();
        EXPECT_EQ(messages.value(0), "dbus service start ");
        return messages.mid(1);
    }
};

TEST_F(AlertExport, RotatedLogsAreExportedAndLiveLogsAreNot)
{
    writeLog("alerts.log", "live\n");
    writeLog("2024/Mar/alerts-14.log", "14 a\n14 b\n");
    writeLog("2024/Mar/alerts-15.log", "15 a\n");
    writeLog("2024/Mar/alerts.log", "live in Mar\n");
    writeLog("2024/alerts.log", "live in 2024\n");
    writeLog("top.log", "top\n");
    startDaemon();
    EXPECT_EQ(exportedLines(), (QList<QByteArray>{"14 a", "14 b", "15 a", "top"}));
    EXPECT_EQ(exportMode(), 0666U);
    EXPECT_EQ(messagesOfTheCall(), QStringList());
    EXPECT_EQ(systemLog.takeLines(), QStringList());
}

TEST_F(AlertExport, TheExportIsEmptyIfThereIsOnlyALiveLog)
{
    writeLog("alerts.log", "live\n");
    startDaemon();
    EXPECT_EQ(exported(), "");
    EXPECT_EQ(exportMode(), 0666U);
    EXPECT_EQ(messagesOfTheCall(), QStringList());
}

TEST_F(AlertExport, OnlyFilesWithTheExactExtensionAreExported)
{
    for (const char *name : {"a.LOG", "a.Log", "a.log.gz", "a.log.1", "a.log~", "a.logs", "alog",
                             ".log", "log", "a.log.", "a.json", "sub/.log"}) {
        writeLog(name, QByteArray(name) + '\n');
    }
    for (const char *name : {"a.log", ".a.log", "a.b.log", "..log", "a .log", "alerts.log.log",
                             "Alerts.log", "alerts .log", "äöü.log"}) {
        writeLog(name, QByteArray(name) + '\n');
    }
    startDaemon();
    EXPECT_EQ(exportedLines(),
              (QList<QByteArray>{"..log", ".a.log", "Alerts.log", "a .log", "a.b.log", "a.log",
                                 "alerts .log", "alerts.log.log", "äöü.log"}));
}

TEST_F(AlertExport, AMissingLastLineFeedIsAdded)
{
    writeLog("1.log", "first");
    writeLog("2.log", "second\nthird");
    startDaemon();
    EXPECT_EQ(exportedLines(), (QList<QByteArray>{"first", "second", "third"}));
}

TEST_F(AlertExport, BytesAreCopiedUnchanged)
{
    const QByteArray bytes("\xef\xbb\xbf\r\n\n\n \t\n\0\xff\xfe\r\r\n\n", 17);
    writeLog("only.log", bytes);
    startDaemon();
    EXPECT_EQ(exported(), bytes);
}

TEST_F(AlertExport, ACarriageReturnAtTheEndIsPartOfTheLine)
{
    writeLog("only.log", "a\r\nb\r");
    startDaemon();
    EXPECT_EQ(exported(), "a\r\nb\r\n");
}

TEST_F(AlertExport, AnEmptyLogContributesNothing)
{
    writeLog("1.log", "");
    writeLog("2.log", "");
    startDaemon();
    EXPECT_EQ(exported(), "");
    writeLog("3.log", "\n");
    EXPECT_EQ(exported(), "\n");
}

TEST_F(AlertExport, ALinkedLogIsExportedButALinkedDirectoryIsNotEntered)
{
    host::writeFile("/srv/elsewhere/archive", "linked\n");
    host::writeFile("/srv/elsewhere/inside.log", "not reached\n");
    ASSERT_TRUE(QFile::link("/srv/elsewhere/archive", alerts + "/linked.log"));
    ASSERT_TRUE(QFile::link("/srv/elsewhere", alerts + "/directory"));
    ASSERT_TRUE(QFile::link("/srv/elsewhere", alerts + "/directory.log"));
    ASSERT_TRUE(QFile::link("/srv/missing", alerts + "/broken.log"));
    ASSERT_TRUE(QFile::link("/srv/elsewhere/archive", alerts + "/linked.txt"));
    startDaemon();
    EXPECT_EQ(exported(), "linked\n");
    EXPECT_EQ(messagesOfTheCall(), QStringList());
}

TEST_F(AlertExport, ADirectoryNamedLikeALogIsSearched)
{
    writeLog("directory.log/inside.log", "inside\n");
    startDaemon();
    EXPECT_EQ(exported(), "inside\n");
}

TEST_F(AlertExport, ALinkedTopDirectoryIsSearched)
{
    ASSERT_TRUE(QDir().rmdir(alerts));
    host::writeFile("/srv/alerts/a.log", "a\n");
    ASSERT_TRUE(QFile::link("/srv/alerts", alerts));
    startDaemon();
    EXPECT_EQ(exported(), "a\n");
}

TEST_F(AlertExport, AFileOfAnotherTypeNamedLikeALogIsNotOpened)
{
    const QByteArray fifoPath = (alerts + "/fifo.log").toUtf8();
    ASSERT_EQ(mkfifo(fifoPath.constData(), 0600), 0);
    ASSERT_EQ(mknod((alerts + "/device.log").toUtf8().constData(), S_IFCHR | 0600, makedev(1, 5)),
              0);
    sockaddr_un address = {AF_UNIX, "/var/log/halvex/logs/alerts/socket.log"};
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_TRUE(QFile::link(fifoPath, alerts + "/linked-fifo.log"));
    writeLog("real.log", "real\n");
    // A process that opened the FIFO would read these bytes.
    const int fifo = open(fifoPath.constData(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(write(fifo, "fifo\n", 5), 5);
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    for (const char *name : {"/fifo.log", "/device.log", "/socket.log"}) {
        ASSERT_GE(inotify_add_watch(watch, (alerts + name).toUtf8().constData(), IN_OPEN), 0);
    }
    startDaemon();
    EXPECT_EQ(exported(), "real\n");
    std::array<char, 4096> events{};
    EXPECT_EQ(read(watch, events.data(), events.size()), -1) << "a file of another type was opened";
    close(watch);
    close(fifo);
    close(listener);
}

TEST_F(AlertExport, ALinkToTheExportItselfIsNotExported)
{
    ASSERT_TRUE(QFile::link(exportPath, alerts + "/export.log"));
    writeLog("1.log", "1\n");
    writeLog("2.log", "2\n");
    startDaemon();
    EXPECT_EQ(exportedLines(), (QList<QByteArray>{"1", "2"}));
}

TEST_F(AlertExport, EachCallReplacesTheExport)
{
    writeLog("a.log", "a long first line\nand another\n");
    startDaemon();
    EXPECT_EQ(exported(), "a long first line\nand another\n");
    ASSERT_TRUE(QFile::remove(alerts + "/a.log"));
    writeLog("b.log", "b\n");
    EXPECT_EQ(exported(), "b\n");
    EXPECT_EQ(exportMode(), 0666U);
}

TEST_F(AlertExport, TheExportsModeIsAlwaysRestoredWhateverTheUmask)
{
    umask(0077);
    writeLog("a.log", "a\n");
    startDaemon();
    EXPECT_EQ(exported(), "a\n");
    EXPECT_EQ(exportMode(), 0666U);
    ASSERT_EQ(chmod(exportPath, 0), 0);
    EXPECT_EQ(exported(), "a\n");
    EXPECT_EQ(exportMode(), 0666U);
    ASSERT_EQ(chmod(exportPath, 07777), 0);
    EXPECT_EQ(exported(), "a\n");
    EXPECT_EQ(exportMode(), 0666U);
}

TEST_F(AlertExport, AnyUserMayReadAndWriteTheExport)
{
    writeLog("a.log", "a\n");
    startDaemon();
    EXPECT_EQ(exported(), "a\n");
    EXPECT_EQ(
        host::run({"setpriv", "--reuid", "2002", "--regid", "2002", "--clear-groups", "--", "sh",
                   "-c", "cat /tmp/halvex_alerts.log && echo b >/tmp/halvex_alerts.log"})
            .output,
        "a\n");
    EXPECT_EQ(host::readFile(exportPath), "b\n");
}

TEST_F(AlertExport, AMissingTopDirectoryGivesAnEmptyExportAndOneMessage)
{
    ASSERT_TRUE(QDir().rmdir(alerts));
    startDaemon();
    host::writeFile(exportPath, "old\n");
    EXPECT_EQ(exported(), "");
    EXPECT_EQ(exportMode(), 0666U);
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"Filesystem error:  filesystem error: recursive directory iterator "
                          "cannot open directory: No such file or directory "
                          "[/var/log/halvex/logs/alerts]"});
}

TEST_F(AlertExport, AFileInPlaceOfTheTopDirectoryGivesAnEmptyExportAndOneMessage)
{
    ASSERT_TRUE(QDir().rmdir(alerts));
    host::writeFile(alerts, "a\n");
    startDaemon();
    EXPECT_EQ(exported(), "");
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"Filesystem error:  filesystem error: recursive directory iterator "
                          "cannot open directory: Not a directory [/var/log/halvex/logs/alerts]"});
}

TEST_F(AlertExport, ALinkToItselfIsSkippedWithoutAMessage)
{
    writeLog("a.log", "a\n");
    ASSERT_TRUE(QFile::link("circle.log", alerts + "/circle.log"));
    ASSERT_TRUE(QFile::link("circle.txt", alerts + "/circle.txt"));
    writeLog("b.log", "b\n");
    startDaemon();
    EXPECT_THAT(exported(), testing::AnyOf("a\nb\n", "b\na\n"));
    EXPECT_EQ(messagesOfTheCall(), QStringList());
}

TEST_F(AlertExport, ARefusedCallerDoesNotChangeTheExport)
{
    writeLog("a.log", "a\n");
    host::writeFile(exportPath, "old\n", 0640);
    const QString stranger = "/usr/local/bin/halvex-desktop";
    host::writeFile(stranger, host::readFile(frontEndPaths.first()), 0755);
    startDaemon();
    EXPECT_EQ(call("generateLogFile", {}, Caller{user::root, stranger}), (Reply{-999}));
    EXPECT_EQ(systemLog.takeLines(),
              QStringList{"<14>halvex-desktop-daemon: The caller has no permission"});
    EXPECT_EQ(host::readFile(exportPath), "old\n");
    EXPECT_EQ(exportMode(), 0640U);
}

TEST_F(AlertExport, AnExportThatCannotBeCreatedIsAFailureWithoutAMessage)
{
    writeLog("a.log", "a\n");
    startDaemon();
    ASSERT_EQ(host::run({"mount", "-o", "remount,ro", "/tmp"}).exitCode, 0);
    EXPECT_EQ(call("generateLogFile"), (Reply{-1}));
    ASSERT_EQ(host::run({"mount", "-o", "remount,rw", "/tmp"}).exitCode, 0);
    EXPECT_FALSE(QFile::exists(exportPath));
    host::writeFile(exportPath, "old\n", 0640);
    ASSERT_EQ(host::run({"mount", "-o", "remount,ro", "/tmp"}).exitCode, 0);
    EXPECT_EQ(call("generateLogFile"), (Reply{-1}));
    EXPECT_EQ(host::readFile(exportPath), "old\n");
    EXPECT_EQ(exportMode(), 0640U);
    EXPECT_EQ(messagesOfTheCall(), QStringList());
}

TEST_F(AlertExport, AnExportThatCannotBeOpenedIsAFailureWithoutAMessage)
{
    const QByteArray program = host::readFile("/bin/sleep");
    host::writeFile(exportPath, program, 0755);
    QProcess running;
    running.start(exportPath, QStringList{"1000"});
    ASSERT_TRUE(running.waitForStarted(patienceMs));
    startDaemon();
    EXPECT_EQ(call("generateLogFile"), (Reply{-1}));
    EXPECT_EQ(host::readFile(exportPath), program);
    EXPECT_EQ(exportMode(), 0755U);
    EXPECT_EQ(messagesOfTheCall(), QStringList());
    running.kill();
    running.waitForFinished();
}

TEST_F(AlertExport, AFullDiskCutsTheExportOffAndGivesADebugMessage)
{
    writeLog("a.log", QByteArray(1 << 20, 'x'));
    writeLog("b.log", QByteArray(1 << 20, 'x'));
    startDaemon();
    ASSERT_EQ(host::run({"mount", "-o", "remount,size=300k", "/tmp"}).exitCode, 0);
    const QByteArray content = exported();
    EXPECT_FALSE(content.isEmpty());
    EXPECT_EQ(content, QByteArray(content.size(), 'x'));
    EXPECT_EQ(exportMode(), 0666U);
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"Filesystem error:  filesystem error: cannot write: No space left on "
                          "device [/tmp/halvex_alerts.log]"});
    ASSERT_EQ(host::run({"mount", "-o", "remount,size=8m", "/tmp"}).exitCode, 0);
    EXPECT_EQ(exported(), (QByteArray(1 << 20, 'x') + '\n').repeated(2));
}

} // namespace
