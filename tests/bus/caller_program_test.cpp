// SPDX-License-Identifier: MIT
//
// Which calling programs the gate accepts.
#include "bus/caller_gate.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

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

TEST_F(CallerGate, AnotherProgramIsRefusedEvenIfItsArgv0NamesAFrontEnd)
{
    copyFrontEnd("/usr/local/bin/stranger");
    Caller caller = at("/usr/local/bin/stranger");
    caller.wrapper = QStringList{"bash", "-c",
                                 "program=$1; shift; exec -a /usr/sbin/halvex-desktop "
                                 "\"$program\" \"$@\"",
                                 "bash"};
    EXPECT_FALSE(letsRead(caller));
}

TEST_F(CallerGate, AProgramWhosePathIsTooLongForTheKernelIsJudgedByItsArgv0)
{
    const auto withArgv0 = [](const QString &name) {
        Caller caller = at("/usr/sbin/halvex-desktop");
        caller.wrapper = QStringList{"bash",
                                     "-c",
                                     "cd /tmp; for i in {1..20}; do mkdir -p $1; cd $1; done; "
                                     "cp $3 /proc/self/cwd/front-end; name=$2; shift 3; "
                                     "exec -a $name /proc/self/cwd/front-end \"$@\"",
                                     "bash",
                                     QString(250, 'd'),
                                     name};
        return caller;
    };
    EXPECT_TRUE(letsRead(withArgv0("/usr/sbin/halvex-desktop")));
    EXPECT_FALSE(letsRead(withArgv0("/usr/bin/env")));
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

TEST_F(CallerGate, ADeletedProgramIsRefusedEvenIfItsPathWithTheKernelsSuffixLinksToAFrontEnd)
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
        ASSERT_FALSE(QFile::exists("/srv/mount/front-end")) << "root sees the file";
    }

    void TearDown() override
    {
        static_cast<void>(host::run({"umount", "-l", "/srv/mount"}));
        CallerGate::TearDown();
    }

    static Caller withArgv0(const QString &name)
    {
        Caller caller = at("/srv/mount/front-end");
        caller.wrapper = QStringList{"bash", "-c",
                                     "program=$2; name=$1; shift 2; exec -a \"$name\" \"$program\" "
                                     "\"$@\"",
                                     "bash", name};
        return caller;
    }
};

TEST_F(HiddenProgram, IsJudgedByItsArgv0)
{
    EXPECT_TRUE(letsRead(withArgv0("/usr/sbin/halvex-desktop")));
    EXPECT_TRUE(letsRead(withArgv0("/usr/sbin/../sbin/halvex-desktop")));
    EXPECT_FALSE(letsRead(withArgv0("/usr/sbin/halvex-desktop2")));
    EXPECT_FALSE(letsRead(withArgv0("/srv/mount/front-end")));
    EXPECT_FALSE(letsRead(withArgv0("/usr/bin/env")));
    EXPECT_FALSE(letsRead(withArgv0("/usr/sbin/halvex-desk\rtop")));
    EXPECT_FALSE(letsRead(withArgv0("")));
}

TEST_F(HiddenProgram, ARelativeArgv0IsResolvedFromTheDaemonsDirectory)
{
    stopDaemon();
    daemon.setWorkingDirectory("/usr");
    startDaemon();
    EXPECT_TRUE(letsRead(withArgv0("sbin/halvex-desktop")));
    EXPECT_FALSE(letsRead(withArgv0("usr/sbin/halvex-desktop")));
}

} // namespace
