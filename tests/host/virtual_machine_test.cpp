// SPDX-License-Identifier: MIT
//
// Tests of scripts/vm in a throwaway host. The machine is a script that runs the command's service,
// because a real machine needs a network and takes minutes.
#include "support/command.h"
#include "support/host_files.h"
#include "support/printing.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

const char *const vm = SOURCE "/scripts/vm";

QStringList imagesLeft()
{
    return QDir(SOURCE "/build/vm").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
}

class VirtualMachine : public testing::Test
{
protected:
    // Images of other commands, which run on the real host meanwhile.
    const QStringList othersImages = imagesLeft();

    void SetUp() override
    {
        host::writeScript("/usr/bin/dpkg-query", "printf 'installed %s\\n' \"$@\" | grep -v ' -'");
        ASSERT_TRUE(QFile::remove(SOURCE "/scripts/fresh"));
        host::writeScript(SOURCE "/scripts/fresh",
                          "[ \"$*\" = \"--keep $2 trixie scripts/vm --prepare\" ] || exit 1\n"
                          "mkdir -p $2/boot $2/etc/systemd/system $2/usr/local/sbin\n"
                          "echo kernel >$2/boot/vmlinuz-6; echo initrd >$2/boot/initrd.img-6");
        host::writeScript("/usr/sbin/mke2fs", "cp -a $5 $6");
        setMachine("[ \"$(cat kernel initrd)\" = \"$(printf 'kernel\\ninitrd')\" ] || exit 1\n"
                   "mkdir -p /dev/virtio-ports\n"
                   "ln -s $PWD/output $PWD/status /dev/virtio-ports; >status\n"
                   "image/usr/local/sbin/vm-command");
    }

    static void setMachine(const QByteArray &body)
    {
        host::writeScript("/usr/bin/qemu-system-x86_64", body);
    }

    void expectFailure(const QStringList &arguments, const char *message) const
    {
        const auto result = host::run(QStringList{vm} + arguments);
        EXPECT_EQ(result.errors, QByteArray(message));
        EXPECT_EQ(result.exitCode, 125);
        EXPECT_EQ(imagesLeft(), othersImages);
    }
};

TEST_F(VirtualMachine, TheCommandsOutputAndStatusArePassedOn)
{
    const auto result = host::run(
        {vm, "trixie", "sh", "-c", "echo $CI \"$0\"; echo to errors >&2; exit 7", "a  $b 'c'"},
        {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "CI=true"});
    EXPECT_EQ(result.output, "\n== Booting trixie\ntrue a  $b 'c'\nto errors\n")
        << result.errors.constData();
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_EQ(imagesLeft(), othersImages);
}

TEST_F(VirtualMachine, AMissingRootIsReported)
{
    host::writeScript(SOURCE "/scripts/fresh", "exit 3");
    expectFailure({"trixie", "true"}, "scripts/vm: the root of trixie could not be prepared\n");
}

TEST_F(VirtualMachine, AMachineThatCannotBeStartedIsReported)
{
    setMachine("exit 1");
    expectFailure({"trixie", "true"}, "scripts/vm: QEMU has failed\n");
}

TEST_F(VirtualMachine, AMachineThatEndsBeforeTheCommandIsReported)
{
    setMachine(">output");
    expectFailure({"trixie", "true"},
                  "scripts/vm: the machine ended before the command (see build/vm/trixie.log)\n");
}

TEST_F(VirtualMachine, ASignalEndsTheMachineAndRemovesItsImage)
{
    setMachine("exec sleep 98765 >output");
    const auto result = host::run({"/bin/bash", "-c",
                                   "$0 trixie true >/dev/null & "
                                   "until pgrep -x sleep >/dev/null; do :; done; "
                                   "kill $!; wait $!; echo $?; pgrep -x sleep",
                                   vm});
    EXPECT_EQ(result.output, "143\n") << result.errors.constData();
    EXPECT_EQ(imagesLeft(), othersImages);
}

TEST_F(VirtualMachine, AMissingCommandIsReported)
{
    expectFailure({"trixie"}, "scripts/vm: Usage: scripts/vm SUITE COMMAND [ARGUMENT]...\n");
}

} // namespace
