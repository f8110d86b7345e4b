// SPDX-License-Identifier: MIT
#include "support/command.h"
#include "support/host_files.h"
#include "support/printing.h"

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

/// The program that the unit at @p path starts.
QString startedBy(const QString &path)
{
    const QStringList lines = QString::fromUtf8(host::readFile(path)).split('\n');
    return lines.filter(QRegularExpression("^ExecStart=")).value(0).section('=', 1);
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
    EXPECT_EQ(startedBy("/srv/prefix/lib/systemd/system/halvex-desktop-daemon.service"),
              "/srv/prefix/libexec/halvex-desktop-daemon");
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

    /// Makes pkg-config report @p units as systemd's directory of units, and fixed directories for
    /// sysusers and tmpfiles.
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
    EXPECT_EQ(startedBy("/srv/stage/opt/b/lib/systemd/system/halvex-desktop-daemon.service"),
              "/opt/b/libexec/halvex-desktop-daemon");
}

TEST_F(InstallationOfABuild, UsesADirectoryOfSystemdOutsideThePrefixOnlyIfSystemdHasTheSamePrefix)
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
    EXPECT_EQ(startedBy("/srv/stage/usr/lib/other/system/halvex-desktop-daemon.service"),
              "/opt/libexec/halvex-desktop-daemon");

    files =
        installed({"-DHALVEX_SYSTEMD_DIR=/opt/systemd", "-DCMAKE_INSTALL_LIBEXECDIR=lib/daemon"});
    EXPECT_TRUE(files.contains("/usr/lib/daemon/halvex-desktop-daemon"));
    EXPECT_EQ(startedBy("/srv/stage/opt/systemd/system/halvex-desktop-daemon.service"),
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
