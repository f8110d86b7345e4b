// SPDX-License-Identifier: MIT
//
// Tests of both kinds of host, which are made inside a throwaway host.
#include "support/command.h"
#include "support/host_files.h"
#include "support/printing.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

/// The parameter is the name of a script that makes hosts.
class AnyHost : public testing::TestWithParam<const char *>
{
protected:
    /// The script in the project from which this test program was built.
    [[nodiscard]] static QString script() { return HOSTS + QString('/') + GetParam(); }

    /// Makes a project at @p path that has only the scripts and a CMakeLists.txt. Returns the path
    /// of the script there.
    [[nodiscard]] static QString scriptOfProjectAt(const QString &path)
    {
        EXPECT_TRUE(QDir().mkpath(path + "/tests/host"));
        for (const QString name : {"throwaway-host", "booted-host", "functions.sh"}) {
            EXPECT_TRUE(QFile::copy(HOSTS "/" + name, path + "/tests/host/" + name));
        }
        host::writeFile(path + "/CMakeLists.txt", "project");
        return path + "/tests/host/" + GetParam();
    }
};

QByteArray message(const QByteArray &text)
{
    return AnyHost::GetParam() + (": " + text) + '\n';
}

std::string kindOf(const testing::TestParamInfo<const char *> &script)
{
    return script.index == 0 ? "Throwaway" : "Booted";
}

INSTANTIATE_TEST_SUITE_P(Of, AnyHost, testing::Values("throwaway-host", "booted-host"), kindOf);

TEST_P(AnyHost, OnlyRootCanMakeAHost)
{
    // Other users may not have access to the project.
    const QString copy = "/usr/local/bin/" + QString(GetParam());
    ASSERT_TRUE(QFile::copy(script(), copy));
    const auto result =
        host::run({"setpriv", "--reuid", "65534", "--clear-groups", "--", copy, "true"});
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_TRUE(result.errors.startsWith(QByteArray(GetParam()) + ": only root can "))
        << result.errors.constData();
}

TEST_P(AnyHost, AMissingCommandIsReported)
{
    const auto result = host::run({script()});
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_EQ(result.errors, message("no command given"));
}

TEST_P(AnyHost, MissingNamespacesAreReported)
{
    const auto result =
        host::run({"setpriv", "--bounding-set", "-sys_admin", "--", script(), "true"});
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_EQ(result.errors, message("no namespaces can be made here; "
                                     "a container has to be privileged"));
}

TEST_P(AnyHost, AnOverlayThatCannotBeMountedIsReported)
{
    // Without the mounts below /.layers, the lower directory of the new root does not exist.
    const auto result = host::run({"unshare", "--mount", "--", "/bin/sh", "-c",
                                   "umount --recursive /.layers && exec \"$0\" true", script()});
    EXPECT_EQ(result.exitCode, 125);
    EXPECT_EQ(result.errors, message("this kernel cannot mount an overlay over the root "
                                     "(see the last lines of dmesg)"));
}

TEST_P(AnyHost, AHostInsideThreeOtherHostsCanBeMade)
{
    const QString throwaway = HOSTS "/throwaway-host";
    host::writeFile("/etc/planted", "outermost");
    const auto result =
        host::run({throwaway, throwaway, throwaway, script(), "cat", "/etc/planted"});
    EXPECT_EQ(result.output, "outermost") << result.errors.constData();
}

TEST_P(AnyHost, AProjectOnAnotherFileSystemIsOnTheHost)
{
    ASSERT_TRUE(QDir().mkpath("/mnt/other"));
    ASSERT_EQ(host::run({"mount", "-t", "tmpfs", "other", "/mnt/other"}).exitCode, 0);
    const QString project = "/mnt/other/a project,with:odd \\characters";
    const auto result = host::run({scriptOfProjectAt(project), "cat", project + "/CMakeLists.txt"});
    EXPECT_EQ(result.output, "project") << result.errors.constData();
}

TEST_P(AnyHost, AProjectBelowRunIsOnTheHost)
{
    // Everything else below /run is hidden on the host, and so is /tmp.
    const QString project = "/run/user/0/a project";
    const auto result = host::run({scriptOfProjectAt(project), "cat", project + "/CMakeLists.txt"});
    EXPECT_EQ(result.output, "project") << result.errors.constData();
}

TEST_P(AnyHost, AProjectOnTheRootFileSystemIsOnTheHost)
{
    const QString project = "/opt/a project,with:odd \\characters";
    const auto result = host::run({scriptOfProjectAt(project), "cat", project + "/CMakeLists.txt"});
    EXPECT_EQ(result.output, "project") << result.errors.constData();
}

TEST_P(AnyHost, ASharedDirectoryIsTheRealDirectory)
{
    const QString directory = "/mnt/shared:too";
    ASSERT_TRUE(QDir().mkpath(directory));
    const auto result = host::run({script(), "--share", directory, "--", "/bin/sh", "-c",
                                   "echo x >\"$0/result\"", directory});
    EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
    EXPECT_EQ(host::readFile(directory + "/result"), "x\n");
}

} // namespace
