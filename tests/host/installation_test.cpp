// SPDX-License-Identifier: MIT
#include "support/command.h"
#include "support/printing.h"

#include <QDir>
#include <QDirIterator>

#include <gtest/gtest.h>

namespace {

/// The files below @p folder, as paths below it.
QStringList filesBelow(const QString &folder)
{
    QStringList files;
    QDirIterator walk(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        files << walk.next().mid(folder.size());
    }
    files.sort();
    return files;
}

TEST(Installation, PutsEachFileWhereItsUsersLook)
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
}

TEST(Installation, CanBeStaged)
{
    const auto result = host::run({CMAKE, "--install", BUILD, "--prefix", "/usr"},
                                  {"PATH=/usr/bin:/bin", "DESTDIR=/srv/stage"});
    ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
    EXPECT_TRUE(filesBelow("/srv/stage").contains("/usr/libexec/halvex-desktop-daemon"));
}

TEST(Installation, NeedsNothingThatOnlyTheTestsDo)
{
    const auto result = host::run({CMAKE, "-S", SOURCE, "-B", "/srv/build", "-G", "Ninja",
                                   "-DBUILD_TESTING=OFF", "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON"});
    ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
    EXPECT_FALSE(QDir("/srv/build/tests").exists());
}

} // namespace
