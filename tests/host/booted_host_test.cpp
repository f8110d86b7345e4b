// SPDX-License-Identifier: MIT
//
// Tests of booted-host, inside a throwaway host. What happens on the booted host must not change
// the throwaway host.
#include "support/command.h"
#include "support/host_files.h"
#include "support/printing.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

/// Runs @p script by the shell on a host booted for it.
host::CommandResult runOnHost(const QString &script)
{
    return host::run({BOOTED_HOST, "--", "/bin/sh", "-c", script});
}

QByteArray outputOnHost(const QString &script)
{
    const auto result = runOnHost(script);
    EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
    return result.output;
}

TEST(BootedHost, SystemdIsProcessOneAndTheCommandIsAUnitOfRoot)
{
    EXPECT_EQ(outputOnHost("cat /proc/1/comm; id -u; hostname; pwd; "
                           "systemctl is-active dbus booted-host-command"),
              "systemd\n0\nbooted-host\n/\nactive\nactivating\n");
}

TEST(BootedHost, TheCommandsStreamsAndExitStatusArePassedOn)
{
    const auto result = runOnHost("echo to output; echo to errors >&2; exit 7");
    EXPECT_EQ(result.output, "to output\n");
    EXPECT_EQ(result.errors, "to errors\n");
    EXPECT_EQ(result.exitCode, 7);
}

TEST(BootedHost, ArgumentsArriveUnchanged)
{
    const auto result =
        host::run({BOOTED_HOST, "printf", "<%s>", "a  b", "", "$HOME", "%n", "\"'\\", "--", "*"});
    EXPECT_EQ(result.output, "<a  b><><$HOME><%n><\"'\\><--><*>");
}

TEST(BootedHost, AKilledCommandHasTheExitStatus128PlusTheSignal)
{
    EXPECT_EQ(runOnHost("kill -9 $$").exitCode, 137);
}

TEST(BootedHost, ACommandThatDoesNotExistHasTheExitStatus127)
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

TEST(BootedHost, TwoHostsAtATimeAreIndependent)
{
    ASSERT_TRUE(QDir().mkpath("/srv/shared"));
    const auto result =
        host::run({"/bin/sh", "-c",
                   "on_host() { $0 --share /srv/shared sh -c \"cd /srv/shared; $1\"; }; "
                   "on_host 'systemctl stop dbus.socket dbus; touch stopped; "
                   "         until [ -e seen ]; do sleep 0.01; done' & "
                   "on_host 'until [ -e stopped ]; do sleep 0.01; done; systemctl is-active dbus; "
                   "touch seen'; "
                   "wait",
                   BOOTED_HOST});
    EXPECT_EQ(result.output, "active\n") << result.errors.constData();
}

/// Runs @p command in a unified control group below the root group, as in a service, a session or a
/// container. Then prints "no group" if the command has left no group below this one.
host::CommandResult runInControlGroup(const QString &command)
{
    // Without a control group namespace, the mount would change the mount options of the real host.
    return host::run({"unshare", "--mount", "--cgroup", "--", "/bin/bash", "-c",
                      "mount -t tmpfs sys /sys && mkdir -p /sys/fs/cgroup && "
                      "mount -t cgroup2 cgroup2 /sys/fs/cgroup && "
                      "group=$(mktemp -d /sys/fs/cgroup/booted-host-test.XXXXXX) && "
                      "(echo $BASHPID >$group/cgroup.procs; " +
                          command + "); rmdir $group && echo no group",
                      BOOTED_HOST});
}

TEST(BootedHost, AHostInAUnifiedControlGroupComesUpAndLeavesNoGroup)
{
    const auto result = runInControlGroup("$0 systemctl is-active dbus");
    EXPECT_EQ(result.output, "active\nno group\n") << result.errors.constData();
}

TEST(BootedHost, ASignalEndsTheHostAndLeavesNoGroup)
{
    const auto result = runInControlGroup("$0 sleep 98765 & "
                                          "until pgrep -x sleep >/dev/null; do :; done; "
                                          "kill $!; wait $!; echo $?; pgrep -x sleep");
    EXPECT_EQ(result.output, "143\nno group\n") << result.errors.constData();
}

TEST(BootedHost, AHostThatDoesNotComeUpIsReported)
{
    ASSERT_TRUE(QDir().mkpath("/etc/systemd/system"));
    ASSERT_TRUE(QFile::link("/dev/null", "/etc/systemd/system/dbus.service"));
    const auto result = runOnHost("true");
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_TRUE(result.errors.contains("booted-host: the host did not come up\n"));
}

} // namespace
