// SPDX-License-Identifier: MIT
//
// The package on a host without a running systemd, as when an image is made.
#include "support/command.h"
#include "support/host_files.h"
#include "support/wait_for.h"

#include <QDir>
#include <QFile>
#include <QProcess>

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
    EXPECT_TRUE(wheel().endsWith(":\n")) << "the new group has members";
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

TEST(WithoutSystemd, ACallDoesNotStartTheDaemonWithoutItsUnit)
{
    ASSERT_EQ(dpkg({"--install", PACKAGE}).exitCode, 0);
    ASSERT_TRUE(QDir().mkpath("/run/dbus"));
    ASSERT_EQ(host::run({"dbus-uuidgen", "--ensure"}).exitCode, 0);
    QProcess bus;
    bus.start("dbus-daemon",
              {"--system", "--nofork", "--nopidfile", "--nosyslog", "--print-address"});
    ASSERT_TRUE(bus.waitForReadyRead(patienceMs));
    // Without systemd, the bus itself executes Exec= of the service file, which is /bin/false.
    const auto result =
        host::run({"dbus-send", "--system", "--print-reply", "--dest=com.norva.halvex.desktop",
                   "/com/norva/halvex/desktop",
                   "com.norva.halvex.desktop.com.norva.halvex.desktop.getEventTotalCount"});
    EXPECT_TRUE(result.errors.startsWith("Error org.freedesktop.DBus.Error.Spawn.ChildExited: "))
        << result.output.constData() << result.errors.constData();
    EXPECT_EQ(host::run({"pgrep", "-f", "libexec/halvex-desktop-daemon"}).output, "");
    bus.kill();
    bus.waitForFinished();
}

} // namespace
