// SPDX-License-Identifier: MIT
//
// Tests of throwaway-host, inside another throwaway host. What happens on the inner host must not
// change the outer one.
#include "support/command.h"
#include "support/host_files.h"
#include "support/printing.h"

#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

/// Runs @p script by the shell as process 1 of a host made for it.
host::CommandResult runInHost(const QString &script)
{
    return host::run({THROWAWAY_HOST, "--", "/bin/sh", "-c", script});
}

QByteArray outputInHost(const QString &script)
{
    const auto result = runInHost(script);
    EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
    return result.output;
}

TEST(ThrowawayHost, TheCommandIsProcessOneAndRoot)
{
    EXPECT_EQ(outputInHost("echo $$ $(id -u) $(hostname)"), "1 0 throwaway-host\n");
}

TEST(ThrowawayHost, TheCommandsExitStatusIsPassedOn)
{
    EXPECT_EQ(runInHost("exit 7").exitCode, 7);
}

TEST(ThrowawayHost, NoFileOfTheHostStays)
{
    EXPECT_EQ(outputInHost("echo x > /etc/planted; rm /etc/passwd; echo x > /etc/group; "
                           "mkdir -p /opt/new; ls /etc/planted"),
              "/etc/planted\n");
    EXPECT_FALSE(QFile::exists("/etc/planted"));
    EXPECT_FALSE(QFile::exists("/opt/new"));
    EXPECT_TRUE(QFile::exists("/etc/passwd"));
    EXPECT_NE(host::readFile("/etc/group"), "x\n");
}

TEST(ThrowawayHost, NoMountStays)
{
    const QByteArray before = host::readFile("/proc/self/mountinfo");
    EXPECT_EQ(outputInHost("mount -t tmpfs x /srv && mount --bind /etc /opt && echo done"),
              "done\n");
    EXPECT_EQ(host::readFile("/proc/self/mountinfo"), before);
}

TEST(ThrowawayHost, NoProcessStays)
{
    static_cast<void>(outputInHost("setsid sleep 98765 >/dev/null 2>&1 & "
                                   "until pgrep -x sleep >/dev/null; do :; done"));
    EXPECT_EQ(host::run({"pgrep", "-f", "sleep 98765"}).output, "");
}

TEST(ThrowawayHost, TmpRunAndShmAreEmpty)
{
    host::writeFile("/tmp/outside", "x");
    host::writeFile("/run/outside", "x");
    host::writeFile("/dev/shm/outside", "x");
    EXPECT_EQ(outputInHost("ls -A /run /dev/shm"), "/dev/shm:\n\n/run:\n");
    // If the project lies below /tmp, the host shows it there.
    EXPECT_EQ(outputInHost("ls /tmp/outside 2>/dev/null || echo none"), "none\n");
}

TEST(ThrowawayHost, TheNetworkIsALoopbackInterfaceThatIsDown)
{
    EXPECT_EQ(outputInHost("ls /proc/sys/net/ipv4/conf"), "all\ndefault\nlo\n");
    EXPECT_NE(runInHost("grep -q 'lo' /proc/net/fib_trie").exitCode, 0);
}

TEST(ThrowawayHost, TheEnvironmentIsFixed)
{
    const auto result = host::run({THROWAWAY_HOST, "--", "env"},
                                  {"PATH=/usr/bin:/bin", "LD_PRELOAD=", "SECRET=1", "CI=true",
                                   "TERM=vt100", "HALVEX_TEST_SEED=1", "HALVEX_TEST_CASES=2"});
    QList<QByteArray> entries = result.output.trimmed().split('\n');
    std::sort(entries.begin(), entries.end());
    EXPECT_EQ(entries, (QList<QByteArray>{"CI=true", "HALVEX_TEST_CASES=2", "HALVEX_TEST_SEED=1",
                                          "HOME=/root", "LANG=C.UTF-8",
                                          "PATH=/usr/sbin:/usr/bin:/sbin:/bin", "TERM=vt100"}));
}

TEST(ThrowawayHost, KernelSettingsAreReadOnly)
{
    EXPECT_NE(runInHost("echo 1 > /proc/sys/vm/swappiness").exitCode, 0);
}

TEST(ThrowawayHost, TheLayersOfItsRootAreReadOnly)
{
    EXPECT_EQ(outputInHost("stat -c %a /.layers; touch /.layers/x /.layers/*/x 2>/dev/null; "
                           "find /.layers -maxdepth 2 -name x"),
              "700\n");
}

} // namespace
