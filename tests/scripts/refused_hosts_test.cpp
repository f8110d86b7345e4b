// SPDX-License-Identifier: MIT
//
// Hosts on which the scripts cannot work. A script refuses them with one line, before it installs
// or builds anything.
#include "support/command.h"
#include "support/host_files.h"
#include "support/printing.h"
#include "support/stand_in.h"

#include <QDir>
#include <QFile>

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const QString checkout = "/srv/checkout";
const QStringList asOrdinaryUser{"setpriv", "--reuid", "65534", "--clear-groups"};

/// Makes a checkout that everybody may enter, and an apt-get that must not be called.
void prepareCheckout()
{
    ASSERT_TRUE(QDir().mkpath(checkout + "/tests"));
    ASSERT_EQ(host::run({"cp", "-r", SOURCE "/scripts", checkout}).exitCode, 0);
    ASSERT_EQ(host::run({"cp", "-r", SOURCE "/tests/host", checkout + "/tests"}).exitCode, 0);
    host::writeStandIn("/usr/bin/apt-get");
}

/// The reason for which the script @p name, started by @p program, refuses to do anything.
std::string refusalOf(const QString &name, const QStringList &program = {})
{
    const QString script = checkout + "/scripts/" + name;
    const auto result = host::run(program + QStringList{script});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(host::standInCalls(), QStringList());
    EXPECT_FALSE(QFile::exists(checkout + "/build"));
    const std::string line = result.errors.toStdString();
    const std::string head = script.toStdString() + ": ";
    EXPECT_THAT(line, StartsWith(head));
    EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
    return line.substr(std::min(head.size(), line.size()));
}

/// Makes every mount of a file system of the type @p type fail.
void hideFileSystem(const QByteArray &type)
{
    ASSERT_TRUE(QFile::rename("/usr/bin/mount", "/usr/bin/real-mount"));
    host::writeScript("/usr/bin/mount",
                      "case \" $* \" in *\" -t " + type +
                          " \"*) echo 'unknown file system' >&2; exit 32 ;; esac\n"
                          "exec /usr/bin/real-mount \"$@\"\n");
}

class RefusedHost : public testing::TestWithParam<const char *>
{
protected:
    void SetUp() override { prepareCheckout(); }
};

TEST_P(RefusedHost, AnOrdinaryUserIsToldToUseSudo)
{
    EXPECT_EQ(refusalOf(GetParam(), asOrdinaryUser),
              "only root can make throwaway hosts and install packages: use sudo\n");
}

TEST_P(RefusedHost, AnotherDistributionIsRefused)
{
    for (const char *release :
         {"ID=fedora\nVERSION_ID=41\n", "ID=debian\nVERSION_ID=11\n", "ID=debian\n", ""}) {
        ASSERT_TRUE(QFile::remove("/etc/os-release"));
        host::writeFile("/etc/os-release", release);
        EXPECT_EQ(refusalOf(GetParam()), "this host is not Debian 12 or 13: use a virtual machine "
                                         "or a privileged container with one of them\n");
    }
}

TEST_P(RefusedHost, ADebianWithoutAptIsRefused)
{
    ASSERT_TRUE(QFile::remove("/usr/bin/apt-get"));
    EXPECT_EQ(refusalOf(GetParam()), "apt-get is missing here: install apt\n");
}

TEST_P(RefusedHost, AContainerThatMayNotMakeNamespacesIsRefused)
{
    EXPECT_THAT(refusalOf(GetParam(), {"setpriv", "--bounding-set", "-sys_admin"}),
                EndsWith("): use a real or virtual machine, or a privileged container\n"));
}

TEST_P(RefusedHost, AKernelThatCannotMountAnOverlayIsRefused)
{
    hideFileSystem("overlay");
    EXPECT_THAT(refusalOf(GetParam()), HasSubstr("cannot mount an overlay over the root"));
}

TEST_P(RefusedHost, AKernelWithoutUnifiedControlGroupsIsRefused)
{
    hideFileSystem("cgroup2");
    EXPECT_EQ(refusalOf(GetParam()),
              "no unified control group can be made here: use Linux 5.14 or later, on a real or "
              "virtual machine or in a privileged container\n");
}

INSTANTIATE_TEST_SUITE_P(Scripts, RefusedHost, testing::Values("demo", "test"),
                         [](const auto &script) { return std::string(script.param); });

TEST(Check, AnOrdinaryUserIsToldThePackagesThatAreMissing)
{
    prepareCheckout();
    host::writeScript("/usr/bin/dpkg-query", "echo installed git; echo not-installed cppcheck\n");
    const std::string reason = refusalOf("check", asOrdinaryUser);
    EXPECT_THAT(reason, StartsWith("packages are missing: as root, run apt-get install "
                                   "--no-install-recommends "));
    EXPECT_THAT(reason, HasSubstr(" cppcheck "));
    EXPECT_THAT(reason, Not(HasSubstr(" git ")));
}

} // namespace
