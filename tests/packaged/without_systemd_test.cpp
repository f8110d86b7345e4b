// SPDX-License-Identifier: MIT
//
// The package on a host without a running systemd, as when an image is made.
#include "support/command.h"
#include "support/host_files.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

host::CommandResult dpkg(const QStringList &arguments)
{
    return host::run(QStringList{"dpkg"} + arguments);
}

/// The line of the group wheel; empty if there is no such group, as on Debian.
QByteArray wheel()
{
    return host::run({"getent", "group", "wheel"}).output;
}

TEST(WithoutSystemd, ThePackageIsInstalledUpgradedAndRemovedWithoutMessages)
{
    host::writeFile("/etc/group", host::readFile("/etc/group") + "wheel:x:777:root\n");
    for (const QStringList &step : {QStringList{"--install", PACKAGE},
                                    {"--install", PACKAGE},
                                    {"--purge", "halvex-desktop-daemon"}}) {
        const auto result = dpkg(step);
        EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
        EXPECT_EQ(result.errors, QByteArray()) << result.errors.constData();
    }
    EXPECT_FALSE(QFile::exists("/usr/libexec/halvex-desktop-daemon"));
}

TEST(WithoutSystemd, TheGroupOfAdministratorsIsMade)
{
    ASSERT_EQ(wheel(), "");
    ASSERT_EQ(dpkg({"--install", PACKAGE}).exitCode, 0);
    EXPECT_TRUE(wheel().startsWith("wheel:")) << wheel().constData();
    EXPECT_TRUE(wheel().endsWith(":\n")) << "the new group must have no members";
    // A purge leaves the group: its members are the administrator's choice, and files may belong
    // to it.
    ASSERT_EQ(dpkg({"--purge", "halvex-desktop-daemon"}).exitCode, 0);
    EXPECT_NE(wheel(), "");
}

TEST(WithoutSystemd, AnExistingGroupKeepsItsMembers)
{
    host::writeFile("/etc/group", host::readFile("/etc/group") + "wheel:x:777:root\n");
    ASSERT_EQ(dpkg({"--install", PACKAGE}).exitCode, 0);
    EXPECT_EQ(wheel(), "wheel:x:777:root\n");
}

} // namespace
