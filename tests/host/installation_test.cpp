// SPDX-License-Identifier: MIT
#include "support/command.h"
#include "support/host_files.h"
#include "support/printing.h"
#include "support/suite_host.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

/// The files below @p directory, as paths below it.
QStringList filesBelow(const QString &directory)
{
    QStringList files;
    QDirIterator walk(directory, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        files << walk.next().mid(directory.size());
    }
    files.sort();
    return files;
}

/// The lines of a file of settings, without comments, document types and empty lines.
QStringList linesOf(const QString &path)
{
    QString text = host::readFile(path);
    text.remove(QRegularExpression("<!.*?>\n", QRegularExpression::DotMatchesEverythingOption));
    QStringList lines;
    for (const QString &line : text.split('\n')) {
        if (!line.trimmed().isEmpty() && !line.startsWith('#')) {
            lines << line.trimmed();
        }
    }
    return lines;
}

TEST(Installation, LetsOnlyRootOwnTheNamesAndEverybodyCallOnlyTheMethods)
{
    const QString toIt = "send_destination=\"com.norva.halvex.desktop\"";
    const QString callAtIt = "<allow " + toIt + " send_path=\"/com/norva/halvex/desktop\" " +
                             "send_type=\"method_call\" send_member=\"%1\"/>";
    QStringList expected{"<busconfig>", "<policy context=\"default\">",
                         "<deny " + toIt + " send_type=\"method_call\"/>",
                         "<deny " + toIt + " send_type=\"signal\" send_broadcast=\"false\"/>"};
    for (const MethodCall &each : allMethodCalls()) {
        expected << callAtIt.arg(each.name);
    }
    for (const char *path :
         {"/", "/com", "/com/norva", "/com/norva/halvex", "/com/norva/halvex/desktop"}) {
        expected << "<allow " + toIt + " send_path=\"" + path +
                        "\" send_interface=\"org.freedesktop.DBus.Introspectable\" " +
                        "send_type=\"method_call\" send_member=\"Introspect\"/>";
    }
    expected << "<allow " + toIt + " send_path=\"/com/norva/halvex/desktop\" " +
                    "send_type=\"method_call\" send_interface=\"org.freedesktop.DBus.Peer\"/>"
             << "<deny " + toIt + " min_fds=\"1\"/>"
             << "<deny send_destination=\"com.norva.halvex.desktop.gate\"/>"
             << "<deny send_destination=\"com.norva.halvex.desktop.start\" send_type=\"signal\" "
                "send_broadcast=\"false\"/>"
             << "<deny send_destination=\"com.norva.halvex.desktop.start\" min_fds=\"1\"/>"
             << "</policy>"
             << "<policy user=\"root\">"
             << "<allow own=\"com.norva.halvex.desktop\"/>"
             << "<allow own=\"com.norva.halvex.desktop.gate\"/>"
             << "<allow own=\"com.norva.halvex.desktop.start\"/>"
             << "<deny receive_type=\"signal\" min_fds=\"1\"/>"
             << "<allow " + toIt + " send_type=\"signal\" max_fds=\"0\"/>"
             << "</policy>"
             << "</busconfig>";
    EXPECT_EQ(linesOf(SOURCE "/data/com.norva.halvex.desktop.conf"), expected);
}

TEST(Installation, ActivatesTheDaemonOnlyThroughSystemd)
{
    EXPECT_EQ(linesOf(SOURCE "/data/com.norva.halvex.desktop.service"),
              (QStringList{"[D-BUS Service]", "Name=com.norva.halvex.desktop", "Exec=/bin/false",
                           "User=root", "SystemdService=halvex-desktop-daemon.service"}));
}

TEST(Installation, HasAUnitOfExactlyTheExpectedLines)
{
    EXPECT_EQ(
        linesOf(SOURCE "/data/halvex-desktop-daemon.service.in"),
        (QStringList{
            "[Unit]",
            "Description=Root daemon behind the desktop front end of the host-security suite",
            "Documentation=man:halvex-desktop-daemon(8) man:com.norva.halvex.desktop(5)",
            "StartLimitIntervalSec=0",
            "[Service]",
            "Type=dbus",
            "BusName=com.norva.halvex.desktop",
            "ExecStart=@libexecdir@/halvex-desktop-daemon",
            "Restart=on-failure",
            "KillMode=process",
            "OOMPolicy=continue",
            "WatchdogSec=5min",
            "WatchdogSignal=SIGKILL",
            "TasksMax=infinity",
            "Environment=PATH=/usr/sbin:/usr/bin:/sbin:/bin",
            "Environment=QT_LOGGING_RULES=default.debug=false",
            "LockPersonality=yes",
            "ProtectClock=yes",
            "DeviceAllow=char-* rwm",
            "DeviceAllow=block-* rwm",
            "SystemCallArchitectures=native",
            "SystemCallFilter=~@clock @cpu-emulation @obsolete @raw-io @reboot @swap",
            "SystemCallErrorNumber=EPERM",
            "CapabilityBoundingSet=~CAP_AUDIT_CONTROL CAP_AUDIT_READ CAP_BLOCK_SUSPEND CAP_LEASE "
            "CAP_MAC_ADMIN",
            "CapabilityBoundingSet=~CAP_MAC_OVERRIDE CAP_SYS_BOOT CAP_SYS_PACCT CAP_SYS_RAWIO",
            "CapabilityBoundingSet=~CAP_SYS_TTY_CONFIG CAP_SYSLOG"}));
}

TEST(Installation, PutsEachFileIntoItsStandardDirectory)
{
    const auto result = host::run({CMAKE, "--install", BUILD, "--prefix", "/srv/prefix"});
    ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
    EXPECT_EQ(
        filesBelow("/srv/prefix"),
        (QStringList{"/lib/systemd/system/halvex-desktop-daemon.service",
                     "/lib/sysusers.d/halvex-desktop-daemon.conf",
                     "/lib/tmpfiles.d/halvex-desktop-daemon.conf", "/libexec/halvex-desktop-daemon",
                     "/share/dbus-1/interfaces/com.norva.halvex.desktop.xml",
                     "/share/dbus-1/system-services/com.norva.halvex.desktop.service",
                     "/share/dbus-1/system.d/com.norva.halvex.desktop.conf",
                     "/share/man/man5/com.norva.halvex.desktop.5",
                     "/share/man/man8/halvex-desktop-daemon.8"}));
    EXPECT_TRUE(QFileInfo("/srv/prefix/libexec/halvex-desktop-daemon").isExecutable());
    EXPECT_TRUE(linesOf("/srv/prefix/lib/systemd/system/halvex-desktop-daemon.service")
                    .contains("ExecStart=/srv/prefix/libexec/halvex-desktop-daemon"));
}

TEST(Installation, CanBeStaged)
{
    const auto result = host::run({CMAKE, "--install", BUILD, "--prefix", "/usr"},
                                  {"PATH=/usr/bin:/bin", "DESTDIR=/srv/stage"});
    ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
    EXPECT_TRUE(filesBelow("/srv/stage").contains("/usr/libexec/halvex-desktop-daemon"));
}

/// Configures a build of its own, and copies the daemon into it from the build of the tests.
class InstallationOfABuild : public testing::Test
{
protected:
    void SetUp() override { tellDirectories("/usr/lib/systemd/system"); }

    /// Makes pkg-config report @p units as the directory of systemd's units, and fixed directories
    /// for users and temporary files.
    static void tellDirectories(const QByteArray &units)
    {
        host::writeFile("/srv/pkg-config/systemd.pc", "prefix=/usr\nsystemdsystemunitdir=" + units +
                                                          "\nsysusersdir=/usr/lib/users\n"
                                                          "tmpfilesdir=/usr/lib/files\n"
                                                          "Name: systemd\nDescription: it\n"
                                                          "Version: 1\n");
    }

    /// Configures the build with @p options, and returns the files that it installs.
    static QStringList installed(const QStringList &options, const QStringList &installOptions = {})
    {
        mustRun(QStringList{CMAKE, "-S", SOURCE, "-B", "/srv/build", "-G", "Ninja",
                            "-DBUILD_TESTING=OFF"} +
                options);
        QFile::copy(BUILD "/src/halvex-desktop-daemon", "/srv/build/src/halvex-desktop-daemon");
        mustRun(QStringList{CMAKE, "--install", "/srv/build"} + installOptions);
        return filesBelow("/srv/stage");
    }

    /// What the unit at @p path below the stage starts.
    static QString startedBy(const QString &path)
    {
        return linesOf("/srv/stage" + path).filter("ExecStart=").value(0).section('=', 1);
    }

private:
    static void mustRun(const QStringList &command)
    {
        const auto result = host::run(command, {"PATH=/usr/bin:/bin", "DESTDIR=/srv/stage",
                                                "PKG_CONFIG_LIBDIR=/srv/pkg-config"});
        ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
    }
};

TEST_F(InstallationOfABuild, TakesSystemdsDirectoriesFromPkgConfig)
{
    const QStringList files = installed({"-DCMAKE_INSTALL_PREFIX=/usr"});
    EXPECT_TRUE(files.contains("/usr/lib/systemd/system/halvex-desktop-daemon.service"));
    EXPECT_TRUE(files.contains("/usr/lib/users/halvex-desktop-daemon.conf"));
    EXPECT_TRUE(files.contains("/usr/lib/files/halvex-desktop-daemon.conf"));
}

TEST_F(InstallationOfABuild, MovesSystemdsDirectoriesWithThePrefix)
{
    QStringList files = installed({"-DCMAKE_INSTALL_PREFIX=/opt/a"});
    EXPECT_TRUE(files.contains("/opt/a/lib/systemd/system/halvex-desktop-daemon.service"));
    EXPECT_TRUE(files.contains("/opt/a/lib/users/halvex-desktop-daemon.conf"));
    files = installed({}, {"--prefix", "/opt/b"});
    EXPECT_TRUE(files.contains("/opt/b/lib/systemd/system/halvex-desktop-daemon.service"));
    EXPECT_EQ(startedBy("/opt/b/lib/systemd/system/halvex-desktop-daemon.service"),
              "/opt/b/libexec/halvex-desktop-daemon");
}

TEST_F(InstallationOfABuild, UsesADirectoryOutsideThePrefixOnlyIfSystemdHasTheSamePrefix)
{
    tellDirectories("/lib/systemd/system");
    EXPECT_TRUE(installed({"-DCMAKE_INSTALL_PREFIX=/usr"})
                    .contains("/lib/systemd/system/halvex-desktop-daemon.service"));
    EXPECT_TRUE(installed({"-DCMAKE_INSTALL_PREFIX=/opt/a"})
                    .contains("/opt/a/lib/systemd/system/halvex-desktop-daemon.service"));
}

TEST_F(InstallationOfABuild, HasTheUsualDirectoriesWithoutPkgConfig)
{
    ASSERT_TRUE(QFile::remove("/srv/pkg-config/systemd.pc"));
    const QStringList usual{"/usr/lib/systemd/system/halvex-desktop-daemon.service",
                            "/usr/lib/sysusers.d/halvex-desktop-daemon.conf",
                            "/usr/lib/tmpfiles.d/halvex-desktop-daemon.conf"};
    for (const char *option :
         {"-DBUILD_TESTING=OFF", "-DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON"}) {
        const QStringList files = installed({"-DCMAKE_INSTALL_PREFIX=/usr", option});
        for (const QString &path : usual) {
            EXPECT_TRUE(files.contains(path)) << option << ' ' << qPrintable(path);
        }
        ASSERT_TRUE(QDir("/srv/stage").removeRecursively());
    }
}

TEST_F(InstallationOfABuild, TakesRelativeAndAbsoluteDirectories)
{
    QStringList files = installed({"-DCMAKE_INSTALL_PREFIX=/usr", "-DHALVEX_SYSTEMD_DIR=lib/other",
                                   "-DCMAKE_INSTALL_LIBEXECDIR=/opt/libexec"});
    EXPECT_TRUE(files.contains("/opt/libexec/halvex-desktop-daemon"));
    EXPECT_TRUE(files.contains("/usr/lib/other/system/halvex-desktop-daemon.service"));
    EXPECT_EQ(startedBy("/usr/lib/other/system/halvex-desktop-daemon.service"),
              "/opt/libexec/halvex-desktop-daemon");

    files =
        installed({"-DHALVEX_SYSTEMD_DIR=/opt/systemd", "-DCMAKE_INSTALL_LIBEXECDIR=lib/daemon"});
    EXPECT_TRUE(files.contains("/usr/lib/daemon/halvex-desktop-daemon"));
    EXPECT_EQ(startedBy("/opt/systemd/system/halvex-desktop-daemon.service"),
              "/usr/lib/daemon/halvex-desktop-daemon");
}

TEST(Installation, NeedsNothingThatOnlyTheTestsNeed)
{
    const auto result = host::run({CMAKE, "-S", SOURCE, "-B", "/srv/build", "-G", "Ninja",
                                   "-DBUILD_TESTING=OFF", "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON"});
    ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
    EXPECT_FALSE(QDir("/srv/build/tests").exists());
}

} // namespace
