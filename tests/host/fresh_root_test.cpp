// SPDX-License-Identifier: MIT
//
// Tests of scripts/fresh in a throwaway host. The root has only a few programs, because making a
// real one needs a network.
#include "support/command.h"
#include "support/host_files.h"
#include "support/printing.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

const char *const fresh = SOURCE "/scripts/fresh";

QStringList roots()
{
    return QDir(SOURCE "/build/fresh").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
}

/// What a command printed on a fresh root, after the line about the root itself.
QByteArray outputOf(const host::CommandResult &result)
{
    EXPECT_TRUE(result.output.startsWith("Making a root of Debian bookworm"));
    return result.output.mid(result.output.indexOf('\n') + 1);
}

class FreshRoot : public testing::Test
{
protected:
    // Roots of other commands, which run on the real host meanwhile.
    const QStringList othersRoots = roots();

    void SetUp() override
    {
        host::writeScript("/usr/bin/dpkg-query", "printf 'installed %s\\n' \"$@\" | grep -v ' -'");
        host::writeScript("/usr/bin/mmdebstrap",
                          "for root; do case $root in */root) break; esac; done\n"
                          "cd / && mkdir -p $root && cd $root && mkdir dev mnt proc run srv sys\n"
                          "tools=$(which bash cat env hostname sh sleep umount)\n"
                          "cp --dereference --parents $tools "
                          "$(ldd $tools | grep -o '/[^: ]*' | sort -u) .");
        host::writeFile("/opt/checkout/srv/halvex-desktop-daemon/committed", "yes");
        host::writeScript("/usr/bin/git", "tar --create --directory /opt/checkout srv");
    }
};

TEST_F(FreshRoot, TheCommandStartsInTheCheckoutAndItsStatusIsPassedOn)
{
    const auto result = host::run(
        {fresh, "bookworm", "sh", "-c", "cat committed; hostname; echo to errors >&2; exit 7"});
    EXPECT_EQ(outputOf(result), "yesfresh\n");
    EXPECT_EQ(result.errors, "to errors\n");
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_EQ(roots(), othersRoots);
}

TEST_F(FreshRoot, ControlGroupsAreUnifiedAndTheCommandIsInTheirRoot)
{
    const auto result =
        host::run({fresh, "bookworm", "bash", "-c",
                   "read -d '' -r pids </sys/fs/cgroup/cgroup.procs; [[ $pids == *$$* ]]"});
    EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
}

TEST_F(FreshRoot, TheCommandGetsOnlyTheEnvironmentThatItNeeds)
{
    const auto result = host::run({fresh, "bookworm", "env"},
                                  {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "CI=true", "TERM=vt100",
                                   "http_proxy=http://proxy", "SECRET=1"});
    EXPECT_EQ(outputOf(result), "CI=true\nTERM=vt100\nhttp_proxy=http://proxy\n"
                                "PATH=/usr/sbin:/usr/bin:/sbin:/bin\nHOME=/root\n");
}

TEST_F(FreshRoot, TheRootOfASuccessfulCommandCanBeKept)
{
    const auto result = host::run(
        {fresh, "--keep", "/srv/kept", "bookworm", "bash", "-c", "echo x >/made; sleep 98765 &"});
    EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
    EXPECT_EQ(host::readFile("/srv/kept/made"), "x\n");
    EXPECT_EQ(host::run({"pgrep", "-x", "sleep"}).output, "");
    EXPECT_EQ(roots(), othersRoots);
}

TEST_F(FreshRoot, ASignalEndsTheCommandAndRemovesTheRoot)
{
    // Runs under unified control groups, to check that no group is left.
    const auto result = host::run({"unshare", "--mount", "--cgroup", "--", "/bin/bash", "-c",
                                   "mount -t tmpfs sys /sys && mkdir -p /sys/fs/cgroup && "
                                   "mount -t cgroup2 cgroup2 /sys/fs/cgroup && "
                                   "group=$(mktemp -d /sys/fs/cgroup/fresh-test.XXXXXX) && "
                                   "{ bash -c 'echo $$ >$0/cgroup.procs; exec $1 bookworm "
                                   "sleep 98765 >/dev/null' $group $0 & } && "
                                   "until pgrep -x sleep >/dev/null; do sleep 0.01; done; "
                                   "kill $!; wait $!; echo $?; pgrep -x sleep; "
                                   "rmdir $group && echo no group",
                                   fresh});
    EXPECT_EQ(result.output, "143\nno group\n") << result.errors.constData();
    EXPECT_EQ(roots(), othersRoots);
}

TEST_F(FreshRoot, ARootThatCannotBeMadeIsReported)
{
    host::writeScript("/usr/bin/mmdebstrap", "echo 'E: no server' >&2; exit 1");
    const auto result = host::run({fresh, "bookworm", "true"});
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_EQ(result.errors, "The end of " SOURCE "/build/log/fresh-bookworm.log:\nE: no server\n"
                             "scripts/fresh: no root of Debian bookworm can be made here\n");
    EXPECT_EQ(roots(), othersRoots);
}

TEST_F(FreshRoot, AMissingCommandIsReported)
{
    const auto result = host::run({fresh, "bookworm"});
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_TRUE(result.errors.contains("Usage: scripts/fresh")) << result.errors.constData();
}

} // namespace
