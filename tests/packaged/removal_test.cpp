// SPDX-License-Identifier: MIT
//
// The package is removed while the daemon is in some state, or while an ordinary user has put
// something else at the export's path.
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
        // One of them belongs to root, the other to the attacker.
        ASSERT_EQ(chown("/srv/directory/precious", user::ordinary, user::ordinary), 0);
        const Caller otto{user::ordinary};
        EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1) << "the daemon does not answer";
        EXPECT_NE(daemonPid(), 0);
        ASSERT_FALSE(exists(place));
    }

    /// Runs @p command as the user otto, which must succeed.
    static void asOtto(const QStringList &command)
    {
        mustRun(QStringList{"setpriv", "--reuid", "2002", "--regid", "2002", "--clear-groups"} +
                command);
    }

    /// Whether there is anything at @p path, even if it is a symbolic link without a target.
    static bool exists(const char *path)
    {
        struct stat status = {};
        return lstat(path, &status) == 0;
    }

    /// Removes the package. Expects this to succeed, and not to change files outside the export's
    /// path.
    ///
    /// @return what dpkg writes to standard error
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

TEST_F(Removal, StopsADaemonThatACallStartsDuringTheRemoval)
{
    QFile script("/var/lib/dpkg/info/halvex-desktop-daemon.prerm");
    ASSERT_TRUE(script.open(QIODevice::Append));
    script.write("/usr/sbin/halvex-desktop --json getEventTotalCount >/run/answer\n");
    script.close();
    EXPECT_EQ(remove(), "");
    EXPECT_EQ(parseReply(host::readFile("/run/answer")).status, -1) << "the daemon was not started";
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

/// The target of a symbolic link at the export's path.
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

TEST_P(RemovalWithLink, RemovesTheLinkAndLeavesItsTargetAlone)
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

TEST_F(Removal, RemovesAHardLinkAndLeavesTheFileAlone)
{
    ASSERT_EQ(mkdir("/tmp/own", 0755), 0);
    host::writeFile("/tmp/own/file", "precious\n", 0640);
    ASSERT_EQ(link("/tmp/own/file", place), 0);
    EXPECT_EQ(remove(), "");
    EXPECT_FALSE(exists(place));
    EXPECT_EQ(host::readFile("/tmp/own/file"), "precious\n");
    EXPECT_EQ(host::ownerAndMode("/tmp/own/file"), "0:0 0640");
}

TEST_F(Removal, RemovesAnEmptyDirectory)
{
    asOtto({"mkdir", place});
    EXPECT_EQ(remove(), "");
    EXPECT_FALSE(exists(place));
}

TEST_F(Removal, RemovesAFullDirectoryButNotTheTargetsOfItsLinks)
{
    asOtto({"mkdir", "-p", QString(place) + "/a/b"});
    asOtto({"touch", QString(place) + "/a/b/file"});
    asOtto({"ln", "-s", "/srv/precious", QString(place) + "/a/file"});
    asOtto({"ln", "-s", "/srv/directory", QString(place) + "/a/directory"});
    asOtto({"ln", "-s", "..", QString(place) + "/a/b/parent"});
    asOtto({"mkfifo", QString(place) + "/fifo"});
    host::writeFile("/tmp/own", "precious\n", 0640);
    ASSERT_EQ(link("/tmp/own", (std::string(place) + "/hard").c_str()), 0);
    EXPECT_EQ(remove(), "");
    EXPECT_FALSE(exists(place));
    EXPECT_EQ(host::readFile("/tmp/own"), "precious\n");
}

/// A file system of the user's own at the export's path.
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

    /// From now on, the file system answers no request.
    void hang() const
    {
        ASSERT_EQ(kill(static_cast<pid_t>(server.processId()), SIGSTOP), 0);
        ASSERT_TRUE(waitFor([this] {
            return host::readFile(QString("/proc/%1/stat").arg(server.processId()))
                .contains(") T ");
        }));
    }

    /// Expects the removal to succeed, although the mount point cannot be removed. A message about
    /// that is allowed.
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

TEST_F(RemovalWithFuse, DoesNotWaitForAHangingMount)
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

TEST_F(RemovalWithFuse, DoesNotWaitForAHangingMountInADirectory)
{
    mountAt(mountInside);
    hang();
    expectRemovalButForTheMount();
    EXPECT_TRUE(isMounted(mountInside));
}

} // namespace
