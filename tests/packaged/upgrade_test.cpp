// SPDX-License-Identifier: MIT
//
// The package replaces version 1.0.0, and is installed again after a removal.
//
// The package 1.0.0 of these tests has the maintainer scripts, the bus policy, the unit and the
// unit's path of that version. Its other files, the daemon among them, are today's. A second policy
// lets the daemon own its names under the policy of 1.0.0.
#include "packaged/installed_host.h"
#include "support/host_files.h"
#include "support/settings_paths.h"
#include "support/wait_for.h"

#include <QFile>
#include <QProcess>

namespace {

constexpr const char *package = "halvex-desktop-daemon";
constexpr const char *settings = settings::interventionPath;
constexpr const char *ownedNames = "/etc/dbus-1/system.d/own.conf";

const Caller anna{user::wheelMember};
const Caller otto{user::ordinary};

/// The error of a call that the policy of 1.0.0 allows and today's policy denies.
QString callOfAnotherPath()
{
    const auto result =
        host::run({"dbus-send", "--system", "--print-reply=literal",
                   QString("--dest=") + "com.norva.halvex.desktop", "/other",
                   "com.norva.halvex.desktop.com.norva.halvex.desktop.getEventTotalCount"});
    return QString::fromUtf8(result.errors).section(' ', 1, 1);
}

class Upgrade : public InstalledHost
{
protected:
    void SetUp() override
    {
        InstalledHost::SetUp();
        mustRun({"dpkg", "--purge", package});
        host::writeFile(ownedNames, "<busconfig><policy user=\"root\">"
                                    "<allow own_prefix=\"com.norva.halvex.desktop\"/>"
                                    "</policy></busconfig>\n");
        mustRun({"dpkg", "--install", makeOldPackage()});
        host::writeFile(settings, "action \"block\" {\ntimeout = \"30\"\n}\n");
        EXPECT_EQ(call("getInterventionConfig", {"block", "timeout"}, otto), (Reply{0, {"30"}}));
        oldPid = daemonPid();
        EXPECT_NE(oldPid, 0);
        EXPECT_EQ(show("StartLimitIntervalUSec"), "10s");
        EXPECT_EQ(callOfAnotherPath(), "org.freedesktop.DBus.Error.UnknownObject:");
        // After the upgrade, the daemon must depend on today's policy.
        ASSERT_TRUE(QFile::remove(ownedNames));
    }

    void expectTodaysPackage()
    {
        EXPECT_EQ(call("setInterventionConfig", {"block", "timeout", "45"}, anna), Reply{0});
        EXPECT_EQ(host::readFile(settings), "action \"block\" {\ntimeout = \"45\"\n}\n");
        EXPECT_EQ(show("StartLimitIntervalUSec"), "0");
        EXPECT_EQ(callOfAnotherPath(), "org.freedesktop.DBus.Error.AccessDenied:");
        EXPECT_EQ(mustRun({"systemctl", "list-units", "--failed", "--quiet", package}), "");
        EXPECT_EQ(mustRun({"dpkg", "--verify", package}), "");
    }

    int oldPid = 0;

private:
    /// Makes the package 1.0.0, and returns its path.
    static QString makeOldPackage()
    {
        const QString root = "/srv/1.0.0";
        mustRun({"dpkg-deb", "--raw-extract", PACKAGE, root});
        const QString unit = "lib/systemd/system/halvex-desktop-daemon.service";
        QFile::remove(root + "/usr/" + unit);
        EXPECT_TRUE(QFile::remove(root + "/DEBIAN/md5sums"));
        for (const QString &name : {QString("postinst"), QString("prerm"), QString("postrm")}) {
            copy(name, root + "/DEBIAN/" + name);
        }
        copy("halvex-desktop-daemon.service", root + '/' + unit);
        copy("com.norva.halvex.desktop.conf",
             root + "/usr/share/dbus-1/system.d/com.norva.halvex.desktop.conf");
        mustRun({"sed", "-i", "s/^Version: .*/Version: 1.0.0/", root + "/DEBIAN/control"});
        mustRun({"dpkg-deb", "--build", root, "/srv/1.0.0.deb"});
        return "/srv/1.0.0.deb";
    }

    static void copy(const QString &name, const QString &path)
    {
        host::writeFile(path, host::readFile(PACKAGE_1_0_0 "/" + name),
                        path.contains("/DEBIAN/") ? 0755 : 0644);
    }
};

TEST_F(Upgrade, ReplacesTheRunningDaemonItsUnitAndItsPolicy)
{
    installPackage();
    EXPECT_TRUE(waitFor([this] { return daemonPid() != 0 && daemonPid() != oldPid; }));
    expectTodaysPackage();
}

TEST_F(Upgrade, AbortsTheRunningCallAndServesTheNextCall)
{
    host::writeScript("/usr/sbin/getstatus",
                      "touch /run/asked\nuntil [ -e /run/over ]; do sleep 0.05; done\n");
    QProcess caller;
    const QStringList command =
        frontEndCommand(anna, {"--json", "setInterventionConfig", "block", "timeout", "60"});
    caller.start(command.first(), command.mid(1));
    ASSERT_TRUE(waitFor([] { return QFile::exists("/run/asked"); }))
        << "the call has not reached the status tool";

    installPackage();
    ASSERT_TRUE(caller.waitForFinished(patienceMs));
    EXPECT_EQ(parseReply(caller.readAllStandardOutput()).error,
              "org.freedesktop.DBus.Error.NoReply");
    host::writeFile("/run/over", "");
    EXPECT_EQ(host::readFile(settings), "action \"block\" {\ntimeout = \"30\"\n}\n");
    expectTodaysPackage();
}

TEST_F(Upgrade, AnswersACallerWhoCallsAllTheTime)
{
    QProcess poller;
    poller.start("sh", {"-c", "while :; do /usr/sbin/halvex-desktop --json getInterventionConfig "
                              "block timeout; done"});
    ASSERT_TRUE(poller.waitForReadyRead(patienceMs));
    installPackage();
    ASSERT_TRUE(waitFor([this] { return daemonPid() != 0 && daemonPid() != oldPid; }));
    poller.readAllStandardOutput();
    EXPECT_TRUE(waitFor([&] {
        poller.waitForReadyRead(100);
        return parseReply(poller.readLine()) == (Reply{0, {"30"}});
    })) << "the new daemon does not answer";
    poller.kill();
    poller.waitForFinished();
    expectTodaysPackage();
}

TEST_F(InstalledHost, ARemovedOrPurgedPackageCanBeInstalledAgain)
{
    host::writeFile(settings, "action \"block\" {\ntimeout = \"30\"\n}\n");
    for (const char *way : {"--remove", "--purge", "--purge"}) {
        EXPECT_EQ(call("getInterventionConfig", {"block", "timeout"}, otto), (Reply{0, {"30"}}));
        mustRun({"dpkg", way, package});
        EXPECT_EQ(call("getInterventionConfig", {"block", "timeout"}, otto).error,
                  "org.freedesktop.DBus.Error.ServiceUnknown")
            << way;
        installPackage();
        EXPECT_EQ(daemonPid(), 0) << "the daemon runs although no call has started it";
        EXPECT_EQ(call("setInterventionConfig", {"block", "timeout", "30"}, anna), Reply{0})
            << "anna is no longer an administrator";
    }
}

} // namespace
