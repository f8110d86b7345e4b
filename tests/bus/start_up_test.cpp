// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/settings_paths.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

using testing::Contains;
using testing::Each;

constexpr const char *noBus = "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/no-such-bus";

/// One program for each way in which the daemon runs programs: getstatus by popen(3), systemctl
/// directly, and pellmar by a command of the command table.
const QStringList childPrograms{"/usr/sbin/getstatus", "/usr/bin/systemctl", "/usr/bin/pellmar"};

class StartUp : public DaemonHost
{
protected:
    /// The value of the environment variable @p name in the programs that the daemon runs.
    QString environmentOfChildren(const QString &name)
    {
        host::writeScript("/usr/sbin/getstatus", "/usr/bin/env > /run/child.env\n");
        static_cast<void>(call("getEventTotalCount"));
        for (const QByteArray &line : host::readFile("/run/child.env").split('\n')) {
            if (line.startsWith(name.toUtf8() + '=')) {
                return QString::fromUtf8(line.mid(name.size() + 1));
            }
        }
        return {};
    }

    /// Starts the daemon with the environment @p entries, several of which have the same name.
    void startWithDuplicates(const QStringList &entries)
    {
        startDaemon({"HOME=/root"},
                    QStringList{DUPLICATE_ENVIRONMENT} + entries + QStringList{"--"});
    }

    /// All entries of PATH and LC_ALL, sorted, that each of the programs gets from the daemon.
    QList<QStringList> pathsAndLocalesOfChildren()
    {
        for (const QString &program : childPrograms) {
            host::writeScript(program,
                              "/usr/bin/cat /proc/$$/environ > /run/${0##*/}.environment\n");
        }
        EXPECT_EQ(call("restartService", {"halvex-ebpf"}), Reply{0});
        EXPECT_EQ(call("setServiceStatus", {"halvex.net.ai", "0", "0"}), Reply{0});
        QList<QStringList> all;
        for (const QString &program : childPrograms) {
            QByteArray block = host::readFile("/run/" + program.section('/', -1) + ".environment");
            all << QString::fromUtf8(block.replace('\0', '\n'))
                       .split('\n')
                       .filter(QRegularExpression("^(PATH|LC_ALL)="));
            all.last().sort();
        }
        return all;
    }

    /// Matches if each program has exactly one PATH, which is @p path, and exactly one LC_ALL,
    /// which is the daemon's.
    static auto allSee(const QString &path)
    {
        return Each(QStringList{"LC_ALL=en_US.UTF-8", "PATH=" + path});
    }
};

TEST_F(StartUp, AnAcceptablePathIsInheritedUnchanged)
{
    startDaemon({"PATH=/usr/local/bin:/usr/bin"});
    EXPECT_EQ(environmentOfChildren("PATH"), "/usr/local/bin:/usr/bin");
    EXPECT_EQ(daemonMessages(), (QStringList{"dbus service start "}));
}

TEST_F(StartUp, AnUnacceptablePathIsReplacedBeforeTheDaemonServes)
{
    startDaemon({"PATH=/tmp:/usr/bin"});
    EXPECT_EQ(environmentOfChildren("PATH"), "/usr/bin:/bin:/usr/sbin:/sbin");
    EXPECT_EQ(daemonMessages(),
              (QStringList{"[PATH安全警告] PATH包含高危临时目录: \"/tmp\" (原始: \"/tmp\" )",
                           "dbus service start "}));
}

TEST_F(StartUp, AMissingPathIsReplaced)
{
    startDaemon({"HOME=/root"});
    EXPECT_EQ(environmentOfChildren("PATH"), "/usr/bin:/bin:/usr/sbin:/sbin");
    EXPECT_EQ(daemonMessages(),
              (QStringList{"[PATH安全警告] PATH环境变量为空", "dbus service start "}));
}

TEST_F(StartUp, TheLocaleIsReplacedIfItIsSet)
{
    startDaemon({"PATH=/usr/bin", "LC_ALL=de_DE", "LANG=fr_FR"});
    EXPECT_EQ(environmentOfChildren("LC_ALL"), "en_US.UTF-8");
    EXPECT_EQ(environmentOfChildren("LANG"), "fr_FR");
}

TEST_F(StartUp, TheLocaleIsSetIfItIsMissing)
{
    startDaemon({"PATH=/usr/bin"});
    EXPECT_EQ(environmentOfChildren("LC_ALL"), "en_US.UTF-8");
}

TEST_F(StartUp, TheLastOfSeveralPathsIsCheckedAndKept)
{
    startWithDuplicates({"PATH=/tmp", "PATH=/no/such", "PATH=/usr/local/bin:/usr/bin"});
    EXPECT_THAT(pathsAndLocalesOfChildren(), allSee("/usr/local/bin:/usr/bin"));
    EXPECT_EQ(daemonMessages(), (QStringList{"dbus service start "}));
}

TEST_F(StartUp, AnUnsafeLastPathIsReplacedEvenAfterSafeOnes)
{
    startWithDuplicates({"PATH=/usr/bin", "PATH=/usr/bin", "PATH=/usr/bin:/tmp"});
    EXPECT_THAT(pathsAndLocalesOfChildren(), allSee("/usr/bin:/bin:/usr/sbin:/sbin"));
    EXPECT_EQ(daemonMessages(),
              (QStringList{"[PATH安全警告] PATH包含高危临时目录: \"/tmp\" (原始: \"/tmp\" )",
                           "dbus service start "}));
}

TEST_F(StartUp, AnEmptyLastPathIsReplaced)
{
    startWithDuplicates({"PATH=/usr/bin", "PATH="});
    EXPECT_THAT(pathsAndLocalesOfChildren(), allSee("/usr/bin:/bin:/usr/sbin:/sbin"));
    EXPECT_EQ(daemonMessages(),
              (QStringList{"[PATH安全警告] PATH环境变量为空", "dbus service start "}));
}

TEST_F(StartUp, SeveralEqualPathsBecomeOne)
{
    startWithDuplicates({"PATH=/usr/bin", "PATH=/usr/bin"});
    EXPECT_THAT(pathsAndLocalesOfChildren(), allSee("/usr/bin"));
}

TEST_F(StartUp, SeveralLocalesBecomeOne)
{
    startWithDuplicates(
        {"LC_ALL=en_US.UTF-8", "LC_ALL=C", "PATH=/usr/bin", "LC_ALL=", "LC_ALL=de_DE"});
    EXPECT_THAT(pathsAndLocalesOfChildren(), allSee("/usr/bin"));
}

TEST_F(StartUp, TheDaemonItselfHasTheSamePathAsItsChildren)
{
    startWithDuplicates({"PATH=/tmp", "PATH=/usr/bin", "LC_ALL=C", "LC_ALL=de_DE",
                         QString("LD_PRELOAD=") + ENVIRONMENT_TELLER,
                         "ASAN_OPTIONS=verify_asan_link_order=0"});
    EXPECT_THAT(daemonMessages(), Contains("at start: PATH=/usr/bin LC_ALL=en_US.UTF-8"));
    EXPECT_THAT(pathsAndLocalesOfChildren(), allSee("/usr/bin"));
}

TEST_F(StartUp, TheEnvironmentCanBeReadUntilTheProcessHasExited)
{
    EXPECT_EQ(
        runDaemonToItsEnd({"PATH=/usr/bin", noBus, QString("LD_PRELOAD=") + ENVIRONMENT_TELLER,
                           "ASAN_OPTIONS=verify_asan_link_order=0"}),
        1);
    EXPECT_EQ(daemonMessages().last(), "at end: PATH=/usr/bin LC_ALL=en_US.UTF-8");
}

TEST_F(StartUp, AHostWithoutOsReleaseIsADesktop)
{
    ASSERT_TRUE(QFile::remove("/etc/os-release"));
    host::writeFile(settings::aiPath, "dga_detect: desktop\n");
    startDaemon();
    EXPECT_EQ(call("getAiConfig", {"0", "dga_detect"}), (Reply{0, {"desktop"}}));
    EXPECT_EQ(daemonMessages(),
              (QStringList{"Cannot open /etc/os-release", "dbus service start "}));
}

TEST_F(StartUp, ADaemonWithoutABusPrintsTwoMessagesAndExitsWithStatus1)
{
    EXPECT_EQ(runDaemonToItsEnd({"PATH=/usr/bin", noBus}), 1);
    EXPECT_EQ(daemonMessages(),
              (QStringList{"Can not conneced to system bus, exiting ... ",
                           "\"Failed to connect to socket /run/no-such-bus: No such file "
                           "or directory\" "}));
}

TEST_F(StartUp, ASecondDaemonExitsWithStatus1BecauseTheNameIsTaken)
{
    startDaemon();
    // The second daemon logs the last error of its connection, which is empty: a name that is owned
    // is not an error there.
    EXPECT_EQ(runDaemonToItsEnd({"PATH=/usr/bin"}), 1);
    EXPECT_EQ(daemonMessages(), (QStringList{"\"\" "}));
    EXPECT_EQ(call("getEventTotalCount").status, -1) << "the first daemon no longer serves";
}

TEST_F(StartUp, AnObjectPathThatIsTakenIsLoggedAndTheDaemonKeepsRunning)
{
    startDaemon({"PATH=/usr/bin", QString("LD_PRELOAD=") + OBJECT_PATH_TAKER,
                 "ASAN_OPTIONS=verify_asan_link_order=0"}); // do not require ASan to load first
    EXPECT_EQ(daemonMessages(), (QStringList{"failed to register halvex desktop service:  \"\" ",
                                             "dbus service start "}));
}

TEST_F(StartUp, ADaemonThatMayOwnOnlyTheServicesNameServesAndWarnsForEachOtherName)
{
    // The policy of version 1.0.0: root may own the service's name only.
    host::writeFile("/etc/dbus-1/system.d/com.norva.halvex.desktop.conf",
                    "<busconfig><policy user=\"root\"><allow own=\"com.norva.halvex.desktop\"/>"
                    "</policy><policy context=\"default\">"
                    "<allow send_destination=\"com.norva.halvex.desktop\"/></policy></busconfig>");
    ASSERT_EQ(host::run({"dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus",
                         "/org/freedesktop/DBus", "org.freedesktop.DBus.ReloadConfig"})
                  .exitCode,
              0);
    host::writeFile("/var/lib/halvex/var/run/halvex-research.state", "events_processed='5'\n");
    startDaemon();
    EXPECT_EQ(call("getEventTotalCount"), (Reply{0, {"5"}}));
    const QString warning = "The bus policy does not protect the daemon: ";
    EXPECT_EQ(daemonMessages().filter(warning).size(), 2);
    EXPECT_EQ(daemonMessages().size(), 3);
}

TEST_F(StartUp, CommandLineOptionsAreIgnored)
{
    daemonArguments = QStringList{"--help", "-version", "anything"};
    startDaemon();
    EXPECT_EQ(call("getEventTotalCount").status, -1);
}

TEST_F(StartUp, ChildrenInheritNoDescriptorBesidesTheStandardStreams)
{
    for (const QString &tool : childPrograms) {
        host::writeScript(tool, "exec ls /proc/self/fd > /run/${0##*/}.fd\n");
    }
    startDaemon();
    EXPECT_EQ(call("restartService", {"halvex-ebpf"}), Reply{0});
    EXPECT_EQ(call("setServiceStatus", {"halvex.net.ai", "0", "0"}), Reply{0});
    for (const QString &tool : childPrograms) {
        // The standard streams are 0 to 2; 3 is the directory that ls itself reads.
        EXPECT_EQ(host::readFile("/run/" + tool.section('/', -1) + ".fd"), "0\n1\n2\n3\n")
            << qPrintable(tool);
    }
}

TEST_F(StartUp, StandardOutputReachesAFileAtOnce)
{
    startDaemon();
    static_cast<void>(
        call("setServiceStatus", {"halvex-ebpf", "1", "0"}, Caller{user::wheelMember}));
    EXPECT_THAT(daemonOutput(), Contains(QString("anna is sudo group")));
}

} // namespace
