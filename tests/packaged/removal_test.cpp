// SPDX-License-Identifier: MIT
//
// The package is removed while the daemon is in some state, and while something of an ordinary
// user's stands in the export's place.
#include "packaged/installed_host.h"
#include "support/host_files.h"

#include <QDir>
#include <QFile>

#include <csignal>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

constexpr const char *place = "/tmp/halvex_alerts.log";

class Removal : public InstalledHost
{
protected:
    void SetUp() override
    {
        InstalledHost::SetUp();
        makePrecious("/srv/precious");
        makePrecious("/srv/directory/precious");
        // Root has one of them, the attacker the other.
        ASSERT_EQ(chown("/srv/directory/precious", user::ordinary, user::ordinary), 0);
        const Caller otto{user::ordinary};
        EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1) << "the daemon runs";
        EXPECT_NE(daemonPid(), 0);
        ASSERT_FALSE(exists(place));
    }

    /// Runs @p command as the user otto, which must succeed.
    static void asOtto(const QStringList &command)
    {
        mustRun(QStringList{"setpriv", "--reuid", "2002", "--regid", "2002", "--clear-groups"} +
                command);
    }

    /// Is there anything at @p path, a symbolic link that leads nowhere included?
    static bool exists(const char *path)
    {
        struct stat status = {};
        return lstat(path, &status) == 0;
    }

    /// Removes the package, and expects that to succeed and to leave alone what lies outside the
    /// export's place.
    ///
    /// @return what it writes to standard error
    [[nodiscard]] static QByteArray remove()
    {
        const auto result = host::run({"dpkg", "--purge", "halvex-desktop-daemon"});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_FALSE(QFile::exists("/usr/libexec/halvex-desktop-daemon"));
        EXPECT_EQ(host::run({"pgrep", "-f", "libexec/halvex-desktop-daemon"}).output, "");
        expectPrecious("/srv/precious", "0:0 0640");
        expectPrecious("/srv/directory/precious", "2002:2002 0640");
        return result.errors;
    }

private:
    static void makePrecious(const QString &path) { host::writeFile(path, "precious\n", 0640); }

    static void expectPrecious(const QString &path, const QString &ownerAndMode)
    {
        EXPECT_EQ(host::readFile(path), "precious\n") << qPrintable(path);
        EXPECT_EQ(host::ownerAndMode(path), ownerAndMode) << qPrintable(path);
    }
};

TEST_F(Removal, StopsADaemonThatIsStartedBeforeItsFilesGo)
{
    QFile script("/var/lib/dpkg/info/halvex-desktop-daemon.prerm");
    ASSERT_TRUE(script.open(QIODevice::Append));
    script.write("/usr/sbin/halvex-desktop --json getEventTotalCount >/run/answer\n");
    script.close();
    EXPECT_EQ(remove(), "");
    EXPECT_EQ(parseReply(host::readFile("/run/answer")).status, -1) << "it was not started";
    EXPECT_EQ(show("ActiveState"), "inactive");
}

TEST_F(Removal, LeavesNoFailedUnit)
{
    addToUnit("Restart=no\n");
    ASSERT_EQ(kill(daemonPid(), SIGKILL), 0);
    ASSERT_TRUE(waitFor([] { return show("ActiveState") == "failed"; }));
    EXPECT_EQ(remove(), "");
    EXPECT_EQ(show("ActiveState"), "inactive");
}

/// What a symbolic link in the export's place leads to.
struct Target
{
    const char *name;
    const char *path;
};

void PrintTo(const Target &target, std::ostream *stream)
{
    *stream << target.name;
}

class RemovalWithLink : public Removal, public testing::WithParamInterface<Target>
{
};

TEST_P(RemovalWithLink, TakesTheLinkAlongAndLeavesItsTargetAlone)
{
    asOtto({"ln", "-s", "-T", GetParam().path, place});
    EXPECT_EQ(remove(), "");
    EXPECT_FALSE(exists(place));
    EXPECT_FALSE(exists("/tmp/nothing"));
}

INSTANTIATE_TEST_SUITE_P(Target, RemovalWithLink,
                         testing::Values(Target{"AFile", "/srv/precious"},
                                         Target{"ADirectory", "/srv/directory/"},
                                         Target{"Nothing", "/tmp/nothing"},
                                         Target{"Itself", place}),
                         [](const auto &instance) { return instance.param.name; });

TEST_F(Removal, TakesAHardLinkForALink)
{
    ASSERT_EQ(mkdir("/tmp/own", 0755), 0);
    host::writeFile("/tmp/own/file", "precious\n", 0640);
    ASSERT_EQ(link("/tmp/own/file", place), 0);
    EXPECT_EQ(remove(), "");
    EXPECT_FALSE(exists(place));
    EXPECT_EQ(host::readFile("/tmp/own/file"), "precious\n");
    EXPECT_EQ(host::ownerAndMode("/tmp/own/file"), "0:0 0640");
}

TEST_F(Removal, TakesAnEmptyDirectoryAlong)
{
    asOtto({"mkdir", place});
    EXPECT_EQ(remove(), "");
    EXPECT_FALSE(exists(place));
}

TEST_F(Removal, TakesAFullDirectoryAlongButNothingThatItLeadsTo)
{
    asOtto({"mkdir", "-p", QString(place) + "/a/b"});
    asOtto({"touch", QString(place) + "/a/b/file"});
    asOtto({"ln", "-s", "/srv/precious", QString(place) + "/a/file"});
    asOtto({"ln", "-s", "/srv/directory", QString(place) + "/a/directory"});
    asOtto({"ln", "-s", "..", QString(place) + "/a/b/parent"});
    asOtto({"mkfifo", QString(place) + "/pipe"});
    host::writeFile("/tmp/own", "precious\n", 0640);
    ASSERT_EQ(link("/tmp/own", (std::string(place) + "/hard").c_str()), 0);
    EXPECT_EQ(remove(), "");
    EXPECT_FALSE(exists(place));
    EXPECT_EQ(host::readFile("/tmp/own"), "precious\n");
}

/// The user's own file system in the export's place.
class RemovalWithFuse : public Removal
{
protected:
    void SetUp() override
    {
        Removal::SetUp();
        if (!QFile::exists("/dev/fuse")) {
            ASSERT_EQ(mknod("/dev/fuse", S_IFCHR | 0666, makedev(10, 229)), 0);
        }
        ASSERT_EQ(chmod("/dev/fuse", 0666), 0);
        ASSERT_EQ(chown("/srv/directory", user::ordinary, user::ordinary), 0);
    }

    void TearDown() override
    {
        if (server.state() != QProcess::NotRunning) {
            kill(static_cast<pid_t>(server.processId()), SIGCONT);
        }
        for (const char *path : {place, mountInside}) {
            static_cast<void>(host::run({"umount", "--lazy", path}));
        }
        server.kill();
        server.waitForFinished();
    }

    /// Mounts /srv/directory at @p path as the user otto, who alone may look at it.
    void mountAt(const char *path)
    {
        asOtto({"mkdir", "-p", path});
        server.start("setpriv", {"--reuid", "2002", "--regid", "2002", "--clear-groups", "bindfs",
                                 "-f", "--no-allow-other", "/srv/directory", path});
        ASSERT_TRUE(waitFor([path] { return isMounted(path); }))
            << server.readAllStandardError().constData();
    }

    static bool isMounted(const char *path)
    {
        return host::readFile("/proc/self/mountinfo").contains(QByteArray(" ") + path + " ");
    }

    /// From now on, no question to the file system is answered.
    void hang() const
    {
        ASSERT_EQ(kill(static_cast<pid_t>(server.processId()), SIGSTOP), 0);
        ASSERT_TRUE(waitFor([this] {
            return host::readFile(QString("/proc/%1/stat").arg(server.processId()))
                .contains(") T ");
        }));
    }

    /// The mount point's directory cannot be removed, which may be said, but is no failure.
    static void expectRemovalButForTheMount()
    {
        EXPECT_THAT(remove().toStdString(),
                    testing::MatchesRegex("|rm_rf\\(/tmp/halvex_alerts.log\\): [^\n]*\n"));
    }

    static constexpr const char *mountInside = "/tmp/halvex_alerts.log/inside";

    QProcess server;
};

TEST_F(RemovalWithFuse, LeavesAMountAlone)
{
    mountAt(place);
    EXPECT_EQ(remove(), "");
    EXPECT_TRUE(isMounted(place));
}

TEST_F(RemovalWithFuse, DoesNotWaitForAMountThatHangs)
{
    mountAt(place);
    hang();
    EXPECT_EQ(remove(), "");
    EXPECT_TRUE(isMounted(place));
}

TEST_F(RemovalWithFuse, LeavesAMountInADirectoryAlone)
{
    mountAt(mountInside);
    expectRemovalButForTheMount();
    EXPECT_TRUE(isMounted(mountInside));
}

TEST_F(RemovalWithFuse, DoesNotWaitForAMountInADirectoryThatHangs)
{
    mountAt(mountInside);
    hang();
    expectRemovalButForTheMount();
    EXPECT_TRUE(isMounted(mountInside));
}

} // namespace
