// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"
#include "support/host_files.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

using testing::Contains;

const QString refusalLine = "<14>halvex-desktop-daemon: The caller has no permission";

class CallerGate : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        startDaemon();
    }

    /// Whether the gate lets @p caller read.
    bool letsRead(const Caller &caller) { return lets("getEventTotalCount", {}, caller); }

    /// Which of the six changing methods let @p caller in: see letsEach().
    std::string letsChange(const Caller &caller) { return letsEach(true, caller); }

    /// "all", "none" or the names of the methods that let @p caller in.
    std::string letsEach(bool changing, const Caller &caller)
    {
        QStringList accepted;
        int number = 0;
        for (const MethodCall &each : allMethodCalls()) {
            if (each.changes == changing) {
                ++number;
                if (lets(each.name, each.arguments, caller)) {
                    accepted << each.name;
                }
            }
        }
        EXPECT_EQ(number, changing ? 6 : 7);
        return accepted.isEmpty()          ? "none"
               : accepted.size() == number ? "all"
                                           : accepted.join(' ').toStdString();
    }

    bool lets(const QString &method, const QStringList &arguments, const Caller &caller)
    {
        return wasLetIn(call(method, arguments, caller));
    }

    /// Whether @p reply is not a refusal. Expects the matching lines in the system log.
    bool wasLetIn(const Reply &reply)
    {
        EXPECT_EQ(reply.error, "");
        const bool isAccepted = reply.status != -999;
        EXPECT_EQ(systemLog.takeLines(), isAccepted ? QStringList() : QStringList{refusalLine});
        return isAccepted;
    }

    static Caller ordinaryUser()
    {
        Caller caller;
        caller.uid = user::ordinary;
        return caller;
    }

    static Caller runBy(unsigned uid)
    {
        Caller caller;
        caller.uid = uid;
        return caller;
    }

    static Caller withEnvironment(const QStringList &entries)
    {
        Caller caller = ordinaryUser();
        caller.environment = entries;
        return caller;
    }

    static Caller wrapped(const QStringList &wrapper)
    {
        Caller caller;
        caller.wrapper = wrapper;
        return caller;
    }

    static Caller at(const QString &path)
    {
        Caller caller = ordinaryUser();
        caller.path = path;
        return caller;
    }

    static void copyFrontEnd(const QString &path, const QString &from = frontEndPaths.first())
    {
        host::writeFile(path, host::readFile(from), 0755);
    }
};

// --- the program ---

TEST_F(CallerGate, EachOfTheFourFrontEndsIsAccepted)
{
    for (const QString &path : frontEndPaths) {
        EXPECT_TRUE(letsRead(at(path))) << qPrintable(path);
    }
    EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
}

TEST_F(CallerGate, ALinkToAFrontEndIsAccepted)
{
    ASSERT_EQ(symlink("/usr/sbin/halvex-desktop", "/usr/local/bin/link"), 0);
    EXPECT_TRUE(letsRead(at("/usr/local/bin/link")));
}

TEST_F(CallerGate, AFrontEndPathThatLinksElsewhereIsRefused)
{
    copyFrontEnd("/usr/local/bin/halvex-desktop");
    ASSERT_TRUE(QFile::remove("/usr/sbin/halvex-desktop"));
    ASSERT_EQ(symlink("/usr/local/bin/halvex-desktop", "/usr/sbin/halvex-desktop"), 0);
    EXPECT_FALSE(letsRead(at("/usr/sbin/halvex-desktop")));
}

TEST_F(CallerGate, ACopyElsewhereIsRefused)
{
    for (const char *path : {"/usr/local/bin/halvex-desktop", "/usr/sbin/halvex-desktop2",
                             "/usr/sbin/Halvex-desktop", "/srv/usr/sbin/halvex-desktop"}) {
        copyFrontEnd(path);
        EXPECT_FALSE(letsRead(at(path))) << path;
    }
}

TEST_F(CallerGate, AHardLinkElsewhereIsRefused)
{
    ASSERT_EQ(link("/usr/sbin/halvex-desktop", "/usr/local/bin/hard"), 0);
    EXPECT_FALSE(letsRead(at("/usr/local/bin/hard")));
}

TEST_F(CallerGate, AFrontEndStartedByItsLoaderIsRefused)
{
    EXPECT_FALSE(letsRead(wrapped({"/lib64/ld-linux-x86-64.so.2"})));
}

TEST_F(CallerGate, AnotherProgramIsRefusedEvenForRoot)
{
    copyFrontEnd("/root/front-end");
    Caller caller = at("/root/front-end");
    caller.uid = user::root;
    EXPECT_FALSE(letsRead(caller));
    EXPECT_EQ(letsChange(caller), "none");
}

TEST_F(CallerGate, AnotherProgramIsRefusedEvenIfItsFirstArgumentNamesAFrontEnd)
{
    copyFrontEnd("/usr/local/bin/stranger");
    Caller caller = at("/usr/local/bin/stranger");
    caller.wrapper = QStringList{"bash", "-c",
                                 "program=$1; shift; exec -a /usr/sbin/halvex-desktop "
                                 "\"$program\" \"$@\"",
                                 "bash"};
    EXPECT_FALSE(letsRead(caller));
}

TEST_F(CallerGate, AProgramWhosePathIsTooLongForTheKernelIsJudgedByItsFirstArgument)
{
    const auto withFirstArgument = [](const QString &argument) {
        Caller caller = at("/usr/sbin/halvex-desktop");
        caller.wrapper = QStringList{"bash",
                                     "-c",
                                     "cd /tmp; for i in {1..20}; do mkdir -p $1; cd $1; done; "
                                     "cp $3 /proc/self/cwd/front-end; name=$2; shift 3; "
                                     "exec -a $name /proc/self/cwd/front-end \"$@\"",
                                     "bash",
                                     QString(250, 'd'),
                                     argument};
        return caller;
    };
    EXPECT_TRUE(letsRead(withFirstArgument("/usr/sbin/halvex-desktop")));
    EXPECT_FALSE(letsRead(withFirstArgument("/usr/bin/env")));
}

TEST_F(CallerGate, AFrontEndThatWasDeletedAfterItsStartIsRefused)
{
    const Reply reply = callAfter([] { ASSERT_TRUE(QFile::remove("/usr/sbin/halvex-desktop")); },
                                  "getEventTotalCount", {}, ordinaryUser());
    EXPECT_FALSE(wasLetIn(reply));
}

TEST_F(CallerGate, AFrontEndThatWasReplacedAfterItsStartIsRefused)
{
    const Reply reply = callAfter(
        [] {
            copyFrontEnd("/usr/sbin/new");
            ASSERT_EQ(rename("/usr/sbin/new", "/usr/sbin/halvex-desktop"), 0);
        },
        "getEventTotalCount", {}, ordinaryUser());
    EXPECT_FALSE(wasLetIn(reply));
}

TEST_F(CallerGate, ADeletedProgramIsRefusedEvenIfItsDeletedNameLinksToAFrontEnd)
{
    copyFrontEnd("/srv/stranger");
    for (const MethodCall &each : allMethodCalls()) {
        copyFrontEnd("/srv/stranger");
        Caller stranger = at("/srv/stranger");
        stranger.uid = user::root;
        const Reply reply = callAfter(
            [] {
                ASSERT_TRUE(QFile::remove("/srv/stranger"));
                QFile::remove("/srv/stranger (deleted)");
                ASSERT_EQ(symlink("/usr/sbin/halvex-desktop", "/srv/stranger (deleted)"), 0);
            },
            each.name, each.arguments, stranger);
        EXPECT_FALSE(wasLetIn(reply)) << each.name;
    }
}

TEST_F(CallerGate, AnotherProgramIsRefusedEvenIfItsPathNowLinksToAFrontEnd)
{
    // The link /proc/PID/exe still names the old path, over which another file system is mounted.
    copyFrontEnd("/srv/bin/stranger");
    const Reply reply = callAfter(
        [] {
            ASSERT_EQ(host::run({"mount", "-t", "tmpfs", "over", "/srv/bin"}).exitCode, 0);
            ASSERT_EQ(symlink("/usr/sbin/halvex-desktop", "/srv/bin/stranger"), 0);
        },
        "getEventTotalCount", {}, at("/srv/bin/stranger"));
    EXPECT_FALSE(wasLetIn(reply));
}

TEST_F(CallerGate, ADeletedProgramIsRefusedEvenIfAFrontEndHasTheSameInodeNumber)
{
    // The first file on each of two new file systems has the same inode number.
    for (const char *directory : {"/srv/bin", "/etc/halvex"}) {
        ASSERT_TRUE(QDir().mkpath(directory));
        ASSERT_EQ(host::run({"mount", "-t", "tmpfs", "fresh", directory}).exitCode, 0);
    }
    copyFrontEnd("/srv/bin/stranger", "/usr/sbin/halvex-desktop");
    copyFrontEnd("/etc/halvex/halvex-desktop-wrapper", "/usr/sbin/halvex-desktop");
    struct stat stranger = {};
    struct stat frontEnd = {};
    ASSERT_EQ(stat("/srv/bin/stranger", &stranger), 0);
    ASSERT_EQ(stat("/etc/halvex/halvex-desktop-wrapper", &frontEnd), 0);
    ASSERT_EQ(stranger.st_ino, frontEnd.st_ino);
    const Reply reply = callAfter(
        [] {
            ASSERT_TRUE(QFile::remove("/srv/bin/stranger"));
            ASSERT_EQ(symlink("/etc/halvex/halvex-desktop-wrapper", "/srv/bin/stranger (deleted)"),
                      0);
        },
        "getEventTotalCount", {}, at("/srv/bin/stranger"));
    EXPECT_FALSE(wasLetIn(reply));
}

/// Callers whose program is on a user's own FUSE mount, which even root cannot read.
class HiddenProgram : public CallerGate
{
protected:
    void SetUp() override
    {
        CallerGate::SetUp();
        copyFrontEnd("/srv/programs/front-end");
        ASSERT_TRUE(QDir().mkpath("/srv/mount"));
        ASSERT_EQ(chown("/srv/mount", user::ordinary, user::ordinary), 0);
        ASSERT_EQ(mknod("/dev/fuse", S_IFCHR | 0666, makedev(10, 229)), 0);
        ASSERT_EQ(chmod("/dev/fuse", 0666), 0);
        const auto mounted =
            host::run({"setpriv", "--reuid", "2002", "--regid", "2002", "--clear-groups", "bindfs",
                       "--no-allow-other", "/srv/programs", "/srv/mount"});
        ASSERT_EQ(mounted.exitCode, 0) << mounted.errors.constData();
        ASSERT_FALSE(QFile::exists("/srv/mount/front-end")) << "root must not see the file";
    }

    void TearDown() override
    {
        static_cast<void>(host::run({"umount", "-l", "/srv/mount"}));
        CallerGate::TearDown();
    }

    static Caller withFirstArgument(const QString &argument)
    {
        Caller caller = at("/srv/mount/front-end");
        caller.wrapper = QStringList{"bash", "-c",
                                     "program=$2; name=$1; shift 2; exec -a \"$name\" \"$program\" "
                                     "\"$@\"",
                                     "bash", argument};
        return caller;
    }
};

TEST_F(HiddenProgram, IsJudgedByItsFirstArgument)
{
    EXPECT_TRUE(letsRead(withFirstArgument("/usr/sbin/halvex-desktop")));
    EXPECT_TRUE(letsRead(withFirstArgument("/usr/sbin/../sbin/halvex-desktop")));
    EXPECT_FALSE(letsRead(withFirstArgument("/usr/sbin/halvex-desktop2")));
    EXPECT_FALSE(letsRead(withFirstArgument("/srv/mount/front-end")));
    EXPECT_FALSE(letsRead(withFirstArgument("/usr/bin/env")));
    EXPECT_FALSE(letsRead(withFirstArgument("/usr/sbin/halvex-desk\rtop")));
    EXPECT_FALSE(letsRead(withFirstArgument("")));
}

TEST_F(HiddenProgram, ARelativeFirstArgumentIsResolvedFromTheDaemonsDirectory)
{
    stopDaemon();
    daemon.setWorkingDirectory("/usr");
    startDaemon();
    EXPECT_TRUE(letsRead(withFirstArgument("sbin/halvex-desktop")));
    EXPECT_FALSE(letsRead(withFirstArgument("usr/sbin/halvex-desktop")));
}

// --- its environment ---

TEST_F(CallerGate, EachForbiddenVariableIsRefusedWithoutAMessage)
{
    for (const char *name : {"LD_PRELOAD", "LD_LIBRARY_PATH", "LD_AUDIT", "BASH_ENV", "ENV",
                             "PYTHONPATH", "PERL5OPT"}) {
        EXPECT_FALSE(letsRead(withEnvironment({QString(name) + "=/srv/x"}))) << name;
        EXPECT_FALSE(letsRead(withEnvironment({QString(name) + "="}))) << name;
    }
    EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
    EXPECT_EQ(host::readFile("/run/daemon.err").count("environVars ("), 14)
        << "each environment is logged before the verdict";
}

TEST_F(CallerGate, AForbiddenVariableIsRefusedEvenForRoot)
{
    Caller caller = withEnvironment({"LD_PRELOAD="});
    caller.uid = user::root;
    EXPECT_EQ(letsChange(caller), "none");
    EXPECT_EQ(letsEach(false, caller), "none");
}

TEST_F(CallerGate, NamesSimilarToForbiddenOnesAreAccepted)
{
    EXPECT_TRUE(letsRead(withEnvironment({"LD_PRELOAD2=x", "ld_preload=x", "XLD_PRELOAD=x",
                                          "ENVIRONMENT=x", "A=LD_PRELOAD=x", "PERL5LIB=x"})));
}

TEST_F(CallerGate, ALineFeedInAValueBeginsANewEntry)
{
    EXPECT_FALSE(letsRead(withEnvironment({"PS1=one\nENV=two"})));
    EXPECT_TRUE(letsRead(withEnvironment({"PS1=one\nTWO=two"})));
}

TEST_F(CallerGate, ACarriageReturnInANameIsIgnored)
{
    EXPECT_FALSE(letsRead(withEnvironment({"LD_PRE\rLOAD=x"})));
}

TEST_F(CallerGate, AForbiddenNameIsFoundAfterAByteOrderMark)
{
    for (const char *mark : {"\\377\\376", "\\376\\377", "\\357\\273\\277"}) {
        host::writeScript("/srv/start", QByteArray("exec env -i \"$(printf '") + mark +
                                            "')=x\" LD_PRELOAD= \"$@\"\n");
        EXPECT_FALSE(letsRead(wrapped({"/srv/start"}))) << mark;
        EXPECT_EQ(letsChange(wrapped({"/srv/start"})), "none") << mark;
    }
}

TEST_F(CallerGate, AByteOrderMarkAloneIsAccepted)
{
    host::writeScript("/srv/start", "exec env -i \"$(printf '\\377\\376')=x\" \"$@\"\n");
    EXPECT_TRUE(letsRead(wrapped({"/srv/start"})));
}

TEST_F(CallerGate, AnEmptyEnvironmentIsAccepted)
{
    EXPECT_TRUE(letsRead(wrapped({"env", "-i"})));
}

TEST_F(CallerGate, AForbiddenVariableIsRefusedBeforeTheStatusToolRuns)
{
    EXPECT_FALSE(letsRead(withEnvironment({"ENV="})));
    EXPECT_EQ(statusToolRuns(), 0);
}

TEST_F(CallerGate, TheEnvironmentIsWrittenToTheDebugLog)
{
    EXPECT_TRUE(letsRead(wrapped({"env", "-i", "FIRST=1", "SECOND=two words"})));
    EXPECT_THAT(host::readFile("/run/daemon.err").split('\n'),
                Contains(QByteArray("environVars (\"FIRST=1\", \"SECOND=two words\", \"\")")));
}

// --- its namespaces ---

class CallerNamespace : public CallerGate
{
protected:
    /// The warnings since the start of the daemon.
    static QString warnings() { return daemonMessages().mid(1).join('\n'); }

    static QString linkOf(const char *name)
    {
        char target[64] = {};
        EXPECT_GT(readlink(qPrintable(QString("/proc/1/ns/") + name), target, sizeof target - 1),
                  0);
        return target;
    }

    /// Expects one warning: @p text with two differing links of the namespace @p name, the host's
    /// and the caller's.
    static void expectMismatch(const char *name, const QString &text)
    {
        const QString host = QRegularExpression::escape(linkOf(name));
        const QRegularExpression expected(
            QString("^%1 Host: \"%2\" Caller: \"(?!%2)%3:\\[\\d+\\]\"$")
                .arg(QRegularExpression::escape(text), host, name));
        EXPECT_TRUE(expected.match(warnings()).hasMatch()) << qPrintable(warnings());
    }
};

TEST_F(CallerNamespace, AnotherUserNamespaceIsRefused)
{
    EXPECT_FALSE(letsRead(wrapped({"unshare", "--user", "--map-root-user"})));
    expectMismatch("user", "[!] Sandbox detected: User namespace mismatch.");
}

TEST_F(CallerNamespace, AnotherMountNamespaceIsRefused)
{
    EXPECT_FALSE(letsRead(wrapped({"unshare", "--mount"})));
    expectMismatch("mnt", "[!] Sandbox detected: Mount namespace mismatch.");
}

TEST_F(CallerNamespace, AnotherPidNamespaceIsRefused)
{
    EXPECT_FALSE(letsRead(wrapped({"unshare", "--pid", "--fork"})));
    expectMismatch("pid", "[!] Sandbox detected: Pid namespace mismatch.");
}

TEST_F(CallerNamespace, OnlyTheFirstMismatchIsReported)
{
    EXPECT_FALSE(
        letsRead(wrapped({"unshare", "--user", "--map-root-user", "--mount", "--pid", "--fork"})));
    expectMismatch("user", "[!] Sandbox detected: User namespace mismatch.");
    EXPECT_EQ(statusToolRuns(), 0);
}

TEST_F(CallerNamespace, TheMountNamespaceIsCheckedBeforeThePidNamespace)
{
    EXPECT_FALSE(letsRead(wrapped({"unshare", "--mount", "--pid", "--fork"})));
    expectMismatch("mnt", "[!] Sandbox detected: Mount namespace mismatch.");
}

TEST_F(CallerNamespace, OtherNamespacesMayDiffer)
{
    EXPECT_TRUE(letsRead(wrapped({"unshare", "--net", "--uts", "--ipc", "--cgroup"})));
}

TEST_F(CallerNamespace, EveryMethodRefusesAnotherMountNamespace)
{
    EXPECT_EQ(letsChange(wrapped({"unshare", "--mount"})), "none");
    EXPECT_EQ(letsEach(false, wrapped({"unshare", "--mount"})), "none");
}

/// Runs the daemon without the right to read other processes' namespaces.
class BlindGate : public CallerGate
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        startDaemon(soundEnvironment, without("-sys_ptrace"));
    }

    /// A command that starts another command without @p capabilities, in setpriv's notation.
    static QStringList without(const QString &capabilities)
    {
        return {"setpriv", "--bounding-set", capabilities, "--inh-caps", "-all", "--"};
    }
};

TEST_F(BlindGate, AnUnreadableNamespaceIsRefusedWithAMessageThatNamesTheProcess)
{
    // The daemon can read the caller's environment, since the caller has no more rights than the
    // daemon. It cannot read the namespaces of process 1, which has more.
    const Caller caller =
        wrapped(without("-sys_ptrace") +
                QStringList{"sh", "-c", "echo $$ > /run/caller.pid; exec \"$@\"", "sh"});
    QStringList expected{"dbus service start "};
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(letsRead(caller));
        const QString pid = QString::fromUtf8(host::readFile("/run/caller.pid")).trimmed();
        expected << "[!] Failed to read namespace for PID: " + pid;
        EXPECT_EQ(daemonMessages(), expected);
    }
}

TEST_F(BlindGate, AnUnreadableEnvironmentIsRefusedWithADebugMessage)
{
    stopDaemon();
    startDaemon(soundEnvironment, without("-sys_ptrace,-perfmon,-sys_admin"));
    EXPECT_FALSE(letsRead(ordinaryUser()));
    ASSERT_EQ(daemonMessages().size(), 2);
    EXPECT_THAT(daemonMessages()[1].toStdString(),
                testing::MatchesRegex("file.open failed \"/proc/[0-9]+/environ\""));
    EXPECT_EQ(statusToolRuns(), 0);
}

// --- its user ---

TEST_F(CallerGate, EveryUserMayRead)
{
    for (const unsigned uid :
         {user::root, user::wheelMember, user::ordinary, user::wheelByPrimary, user::secAdmin}) {
        EXPECT_EQ(letsEach(false, runBy(uid)), "all") << uid;
    }
}

TEST_F(CallerGate, RootMayChangeTheSystem)
{
    EXPECT_EQ(letsChange(runBy(user::root)), "all");
    EXPECT_EQ(daemonOutput(), QStringList());
}

TEST_F(CallerGate, AWheelMemberMayChangeTheSystemAndIsPrintedEachTime)
{
    EXPECT_EQ(letsChange(runBy(user::wheelMember)), "all");
    EXPECT_EQ(daemonOutput(),
              (QStringList{"anna is sudo group", "anna is sudo group", "anna is sudo group",
                           "anna is sudo group", "anna is sudo group", "anna is sudo group"}));
}

TEST_F(CallerGate, AnOrdinaryUserMayNotChangeTheSystem)
{
    EXPECT_EQ(letsChange(runBy(user::ordinary)), "none");
    EXPECT_EQ(daemonOutput(), QStringList());
    EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
}

TEST_F(CallerGate, AWheelMemberByPrimaryGroupOnlyIsRefused)
{
    EXPECT_EQ(letsChange(runBy(user::wheelByPrimary)), "none");
    EXPECT_EQ(daemonOutput(), QStringList());
}

TEST_F(CallerGate, TheSeparatedAdministratorMayNotChangeTheSystemWhileTheModeIsOff)
{
    EXPECT_EQ(letsChange(runBy(user::secAdmin)), "none");
}

TEST_F(CallerGate, AUserWhoseAccountIsGoneIsRefusedAndPrinted)
{
    // Only users with an account can connect to the bus, so remove the account afterwards.
    const QByteArray users = host::readFile("/etc/passwd");
    int changing = 0;
    for (const MethodCall &each : allMethodCalls()) {
        if (each.changes) {
            ++changing;
            host::writeFile("/etc/passwd", users + "gone:x:2999:2999::/:/bin/sh\n");
            EXPECT_FALSE(wasLetIn(callAfter([&] { host::writeFile("/etc/passwd", users); },
                                            each.name, each.arguments, runBy(user::gone))));
        }
    }
    EXPECT_EQ(daemonOutput().size(), changing);
    EXPECT_THAT(daemonOutput(),
                testing::Each(QString("Failed to get passwd struct for 2999: Success")));
}

TEST_F(CallerGate, WithoutTheGroupWheelOnlyRootMayChangeTheSystem)
{
    QByteArray groups = host::readFile("/etc/group");
    host::writeFile("/etc/group", groups.replace("wheel:", "wheels:"));
    EXPECT_EQ(letsChange(runBy(user::root)), "all");
    EXPECT_EQ(daemonOutput(), QStringList());
    EXPECT_EQ(letsChange(runBy(user::wheelMember)), "none");
    EXPECT_EQ(daemonOutput().size(), 6);
    EXPECT_THAT(daemonOutput(), testing::Each(QString("Failed to get group for wheel: Success")));
}

TEST_F(CallerGate, WithSeparatedAdministratorsOnlyUser600MayChangeTheSystem)
{
    setStatusToolOutput("Kernel : 1\nTHREE ADMIN : ON\n");
    EXPECT_EQ(letsChange(runBy(user::secAdmin)), "all");
    EXPECT_EQ(letsChange(runBy(user::root)), "none");
    EXPECT_EQ(letsChange(runBy(user::wheelMember)), "none");
    EXPECT_EQ(letsChange(runBy(user::ordinary)), "none");
    EXPECT_EQ(letsChange(runBy(user::wheelByPrimary)), "none");
    EXPECT_EQ(daemonOutput(), QStringList()) << "no group is looked up";
}

TEST_F(CallerGate, WithSeparatedAdministratorsEveryUserMayRead)
{
    setStatusToolOutput("three admin: enabled\n");
    for (const unsigned uid : {user::root, user::wheelMember, user::ordinary, user::secAdmin}) {
        EXPECT_EQ(letsEach(false, runBy(uid)), "all") << uid;
    }
}

TEST_F(CallerGate, TheModeIsReadForEachCall)
{
    EXPECT_EQ(letsChange(runBy(user::root)), "all");
    setStatusToolOutput("three admin: on\n");
    EXPECT_EQ(letsChange(runBy(user::root)), "none");
    setStatusToolOutput("three admin: off\n");
    EXPECT_EQ(letsChange(runBy(user::root)), "all");
}

TEST_F(CallerGate, AMissingStatusToolMeansThatTheModeIsOff)
{
    ASSERT_TRUE(QFile::remove("/usr/sbin/getstatus"));
    EXPECT_EQ(letsChange(runBy(user::root)), "all");
    EXPECT_EQ(letsChange(runBy(user::ordinary)), "none");
}

TEST_F(CallerGate, AReadingCallRunsTheStatusToolOnce)
{
    EXPECT_TRUE(letsRead(runBy(user::wheelMember)));
    EXPECT_EQ(statusToolRuns(), 1);
    EXPECT_EQ(daemonOutput(), QStringList{"anna is sudo group"});
}

TEST_F(CallerGate, AStrangersCallRunsTheStatusToolOnce)
{
    copyFrontEnd("/usr/local/bin/stranger");
    EXPECT_FALSE(letsRead(at("/usr/local/bin/stranger")));
    EXPECT_EQ(statusToolRuns(), 1);
}

// --- what the gate asks the bus ---

/// Records the questions that the daemon asks the bus.
class BusQuestions : public CallerGate
{
protected:
    void SetUp() override
    {
        CallerGate::SetUp();
        monitor.start("dbus-monitor", {"--system", "sender=com.norva.halvex.desktop.gate,"
                                                   "destination=org.freedesktop.DBus"});
        ASSERT_TRUE(waitFor([this] { return seen().contains("NameLost"); }))
            << "the monitor does not run";
    }

    void TearDown() override
    {
        monitor.kill();
        monitor.waitForFinished();
        CallerGate::TearDown();
    }

    QByteArray seen()
    {
        monitor.waitForReadyRead(1);
        output += monitor.readAllStandardOutput();
        return output;
    }

    /// The questions that the daemon asks, in order, when @p caller calls @p method.
    QStringList questions(const QString &method, const QStringList &arguments, const Caller &caller)
    {
        static_cast<void>(seen());
        output.clear();
        static_cast<void>(call(method, arguments, caller));
        // The monitor shows messages in order: once it shows the questions of this second call,
        // those of the first are complete.
        static_cast<void>(call("getEventTotalCount", {}, at("/usr/sbin/halvex-desktop")));
        QStringList members;
        EXPECT_TRUE(waitFor([&] {
            members.clear();
            for (const QString &line : QString::fromUtf8(seen()).split('\n')) {
                if (line.startsWith("method call ")) {
                    members << line.section("member=", 1);
                }
            }
            return members.size() > 3 && members.mid(members.size() - 3) == ofAReadingCall;
        }));
        return members.mid(0, members.size() - 3);
    }

    const QStringList ofAReadingCall{"GetConnectionUnixProcessID", "GetConnectionUnixUser",
                                     "GetConnectionUnixUser"};

private:
    QProcess monitor;
    QByteArray output;
};

TEST_F(BusQuestions, AReadingCallAsksOnceForTheProcessAndTwiceForTheUser)
{
    EXPECT_EQ(questions("getEventTotalCount", {}, ordinaryUser()), ofAReadingCall);
}

TEST_F(BusQuestions, AnAcceptedChangingCallAsksForTheUserOnceMore)
{
    EXPECT_EQ(questions("restartService", {"halvex-ebpf"}, runBy(user::root)),
              ofAReadingCall + QStringList{"GetConnectionUnixUser"});
}

TEST_F(BusQuestions, AfterAForbiddenVariableNothingMoreIsAsked)
{
    EXPECT_EQ(questions("restartService", {"halvex-ebpf"}, withEnvironment({"ENV="})),
              QStringList{"GetConnectionUnixProcessID"});
}

} // namespace
