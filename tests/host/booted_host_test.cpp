// SPDX-License-Identifier: MIT
//
// The booted host itself, made by a test inside a throwaway host: what happens on it must not show
// there.
#include "support/command.h"
#include "support/host_files.h"
#include "support/printing.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

/// Runs @p script by the shell on a host booted for it.
host::CommandResult runOnHost(const QString &script, const QStringList &options = {})
{
    return host::run(QStringList{BOOTED_HOST} + options +
                     QStringList{"--", "/bin/sh", "-c", script});
}

QByteArray outputOnHost(const QString &script)
{
    const auto result = runOnHost(script);
    EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
    return result.output;
}

TEST(BootedHost, SystemdIsProcessOneAndTheCommandAUnitOfRoots)
{
    EXPECT_EQ(outputOnHost("cat /proc/1/comm; id -u; hostname; pwd; "
                           "systemctl is-active dbus booted-host-command"),
              "systemd\n0\nbooted-host\n/\nactive\nactivating\n");
}

TEST(BootedHost, TheCommandsStreamsAndExitStatusAreTheHosts)
{
    const auto result = runOnHost("echo to output; echo to errors >&2; exit 7");
    EXPECT_EQ(result.output, "to output\n");
    EXPECT_EQ(result.errors, "to errors\n");
    EXPECT_EQ(result.exitCode, 7);
}

TEST(BootedHost, ArgumentsArriveAsTheyAre)
{
    const auto result =
        host::run({BOOTED_HOST, "printf", "<%s>", "a  b", "", "$HOME", "%n", "\"'\\", "--", "*"});
    EXPECT_EQ(result.output, "<a  b><><$HOME><%n><\"'\\><--><*>");
}

TEST(BootedHost, ACommandThatIsKilledHasTheShellsStatus)
{
    EXPECT_EQ(runOnHost("kill -9 $$").exitCode, 137);
}

TEST(BootedHost, ACommandThatDoesNotExistHasTheShellsStatus)
{
    EXPECT_EQ(host::run({BOOTED_HOST, "/no/such/command"}).exitCode, 127);
}

TEST(BootedHost, NothingOfTheHostStays)
{
    const QByteArray mounts = host::readFile("/proc/self/mountinfo");
    EXPECT_EQ(
        outputOnHost(
            "echo x >/etc/planted; mkdir /opt/new; mount -t tmpfs x /srv; "
            "systemd-run --quiet --property=Type=exec sleep 98765; pgrep -x sleep >/dev/null; "
            "echo $?"),
        "0\n");
    EXPECT_FALSE(QFile::exists("/etc/planted"));
    EXPECT_FALSE(QFile::exists("/opt/new"));
    EXPECT_EQ(host::readFile("/proc/self/mountinfo"), mounts);
    EXPECT_EQ(host::run({"pgrep", "-f", "sleep 98765"}).output, "");
}

TEST(BootedHost, TwoAtATimeDoNotKnowEachOther)
{
    const auto result = host::run({"/bin/sh", "-c",
                                   "$0 sh -c 'systemctl stop dbus.socket dbus; sleep 1' & "
                                   "$0 sh -c 'sleep 1; systemctl is-active dbus'; wait",
                                   BOOTED_HOST});
    EXPECT_EQ(result.output, "active\n") << result.errors.constData();
}

TEST(BootedHost, ASharedDirectoryIsTheRealOne)
{
    ASSERT_TRUE(QDir().mkpath("/srv/shared"));
    EXPECT_EQ(runOnHost("echo x >/srv/shared/result", {"--share", "/srv/shared"}).exitCode, 0);
    EXPECT_EQ(host::readFile("/srv/shared/result"), "x\n");
}

TEST(BootedHost, AHostThatDoesNotComeUpSaysWhy)
{
    ASSERT_TRUE(QDir().mkpath("/etc/systemd/system"));
    ASSERT_TRUE(QFile::link("/dev/null", "/etc/systemd/system/dbus.service"));
    const auto result = runOnHost("true");
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_TRUE(result.errors.contains("booted-host: the host did not come up\n"));
}

TEST(BootedHost, OnlyRootCanBootOne)
{
    const auto result =
        host::run({"setpriv", "--reuid", "65534", "--clear-groups", BOOTED_HOST, "true"});
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_EQ(result.errors, "booted-host: only root can boot a host\n");
}

TEST(BootedHost, WithoutACommandItSaysSo)
{
    const auto result = host::run({BOOTED_HOST});
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_EQ(result.errors, "booted-host: no command given\n");
}

} // namespace
