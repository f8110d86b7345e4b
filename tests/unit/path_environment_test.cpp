// SPDX-License-Identifier: MIT
#include "security/path_environment.h"
#include "support/host_files.h"
#include "support/message_log.h"

#include <QDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

class PathEnvironment : public testing::Test
{
protected:
    /// Runs the check with @p path and returns its verdict.
    static bool mustBeReplaced(const QByteArray &path)
    {
        qputenv("PATH", path);
        return halvex::checkPathEnvironment();
    }

    static void makeDirectory(const char *path, mode_t mode)
    {
        ASSERT_EQ(mkdir(path, 0700), 0);
        ASSERT_EQ(chmod(path, mode), 0);
    }

    MessageLog log;
};

TEST_F(PathEnvironment, TheFourCoreDirectoriesAreAcceptedInSilence)
{
    EXPECT_FALSE(mustBeReplaced("/usr/bin:/bin:/usr/sbin:/sbin"));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(PathEnvironment, ASafeDirectoryBesideACoreDirectoryIsAccepted)
{
    EXPECT_FALSE(mustBeReplaced("/usr/local/bin:/usr/bin"));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(PathEnvironment, AnUnsetPathMustBeReplaced)
{
    qunsetenv("PATH");
    EXPECT_TRUE(halvex::checkPathEnvironment());
    EXPECT_EQ(log.messages(), QStringList{"warning: [PATH安全警告] PATH环境变量为空"});
}

TEST_F(PathEnvironment, AnEmptyPathMustBeReplaced)
{
    EXPECT_TRUE(mustBeReplaced(""));
    EXPECT_EQ(log.messages(), QStringList{"warning: [PATH安全警告] PATH环境变量为空"});
}

TEST_F(PathEnvironment, EmptyItemsAreIgnored)
{
    EXPECT_FALSE(mustBeReplaced(":/usr/bin::/bin:"));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(PathEnvironment, APathOfOnlySeparatorsMustBeReplaced)
{
    EXPECT_TRUE(mustBeReplaced(":::"));
    EXPECT_EQ(log.messages(), QStringList{"warning: [PATH安全警告] PATH缺失系统核心目录"});
}

TEST_F(PathEnvironment, ADotIsRefusedBeforeLaterItemsAreChecked)
{
    EXPECT_TRUE(mustBeReplaced(".:/missing:/usr/bin"));
    EXPECT_EQ(log.messages(), QStringList{"warning: [PATH安全警告] PATH包含相对路径项 \".\""});
}

TEST_F(PathEnvironment, ARelativeItemIsResolvedAgainstTheWorkingDirectory)
{
    makeDirectory("/srv/tools", 0755);
    ASSERT_TRUE(QDir::setCurrent("/srv"));
    EXPECT_FALSE(mustBeReplaced("tools:./tools:/usr/bin"));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(PathEnvironment, AMissingDirectoryIsLoggedWithTheReasonAndThenTheVerdict)
{
    EXPECT_TRUE(mustBeReplaced("/missing:/usr/bin"));
    EXPECT_EQ(
        log.messages(),
        (QStringList{"warning: [PATH校验] realpath 失败: \"/missing\" No such file or directory",
                     "warning: [PATH安全警告] 路径无法规范化: \"/missing\""}));
}

TEST_F(PathEnvironment, EachHighRiskDirectoryAndItsSubdirectoriesAreRefused)
{
    for (const char *path : {"/tmp", "/dev/shm", "/var/tmp", "/tmp/bin", "/dev/shm/a/b"}) {
        ASSERT_TRUE(QDir().mkpath(path));
        const MessageLog each;
        EXPECT_TRUE(mustBeReplaced(QByteArray("/usr/bin:") + path)) << path;
        EXPECT_EQ(each.messages(),
                  QStringList{QString("warning: [PATH安全警告] PATH包含高危临时目录: \"%1\" "
                                      "(原始: \"%1\" )")
                                  .arg(path)});
    }
}

TEST_F(PathEnvironment, ALinkIntoAHighRiskDirectoryIsLoggedWithItsTargetAndAsWritten)
{
    makeDirectory("/tmp/bin", 0755);
    ASSERT_EQ(symlink("/tmp/bin", "/opt/tools"), 0);
    EXPECT_TRUE(mustBeReplaced("/opt/tools:/usr/bin"));
    EXPECT_EQ(log.messages(), QStringList{"warning: [PATH安全警告] PATH包含高危临时目录: "
                                          "\"/tmp/bin\" (原始: \"/opt/tools\" )"});
}

TEST_F(PathEnvironment, ANameThatOnlyBeginsLikeAHighRiskDirectoryIsAccepted)
{
    makeDirectory("/tmpfoo", 0755);
    EXPECT_FALSE(mustBeReplaced("/tmpfoo:/usr/bin"));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(PathEnvironment, AFileInThePathIsRefused)
{
    EXPECT_TRUE(mustBeReplaced("/etc/passwd:/usr/bin"));
    EXPECT_EQ(log.messages(), QStringList{"warning: [PATH校验] PATH项不是目录: \"/etc/passwd\""});
}

TEST_F(PathEnvironment, AWorldWritableFileIsRefusedBecauseItIsNoDirectory)
{
    host::writeFile("/srv/file", "", 0666);
    EXPECT_TRUE(mustBeReplaced("/srv/file:/usr/bin"));
    EXPECT_EQ(log.messages(), QStringList{"warning: [PATH校验] PATH项不是目录: \"/srv/file\""});
}

TEST_F(PathEnvironment, ADirectoryWhoseNameIsNotUtf8IsNotFound)
{
    // The name is not UTF-8, so it changes when it is converted to text.
    ASSERT_EQ(mkdir("/srv/\xff", 0755), 0);
    ASSERT_EQ(symlink("/srv/\xff", "/srv/link"), 0);
    EXPECT_TRUE(mustBeReplaced("/srv/link:/usr/bin"));
    ASSERT_EQ(log.messages().size(), 1);
    EXPECT_TRUE(
        log.messages().first().startsWith("warning: [PATH校验] stat失败，目录不存在: \"/srv/"))
        << qPrintable(log.messages().first());
}

TEST_F(PathEnvironment, AWorldWritableDirectoryIsRefused)
{
    makeDirectory("/srv/open", 0777);
    EXPECT_TRUE(mustBeReplaced("/srv/open:/usr/bin"));
    EXPECT_EQ(log.messages(),
              QStringList{"warning: [PATH安全警告] 目录全局可写(world writable): \"/srv/open\""});
}

TEST_F(PathEnvironment, AWorldWritableDirectoryWithTheStickyBitIsRefused)
{
    makeDirectory("/srv/sticky", 01777);
    EXPECT_TRUE(mustBeReplaced("/usr/bin:/srv/sticky"));
    EXPECT_EQ(log.messages(),
              QStringList{"warning: [PATH安全警告] 目录全局可写(world writable): \"/srv/sticky\""});
}

TEST_F(PathEnvironment, AGroupWritableDirectoryIsAccepted)
{
    makeDirectory("/srv/group", 0775);
    EXPECT_FALSE(mustBeReplaced("/srv/group:/usr/bin"));
}

TEST_F(PathEnvironment, ASafePathWithoutACoreDirectoryMustBeReplaced)
{
    EXPECT_TRUE(mustBeReplaced("/usr/local/bin"));
    EXPECT_EQ(log.messages(), QStringList{"warning: [PATH安全警告] PATH缺失系统核心目录"});
}

TEST_F(PathEnvironment, EachCoreDirectoryIsEnough)
{
    // Make all four real directories: on many hosts, /bin and /sbin are links.
    for (const char *name : {"/bin", "/sbin"}) {
        ASSERT_EQ(unlink(name), 0);
        makeDirectory(name, 0755);
    }
    for (const char *path : {"/usr/bin", "/bin", "/usr/sbin", "/sbin"}) {
        EXPECT_FALSE(mustBeReplaced(path)) << path;
    }
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(PathEnvironment, ACoreDirectoryIsEnoughHoweverItIsSpelt)
{
    ASSERT_EQ(symlink("/usr/bin", "/opt/tools"), 0);
    for (const char *path : {"/usr/bin/", "//usr/bin", "/usr/../usr/./bin", "/opt/tools"}) {
        EXPECT_FALSE(mustBeReplaced(path)) << path;
    }
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(PathEnvironment, ACoreDirectorysNameThatLeadsElsewhereIsNotEnough)
{
    makeDirectory("/opt/elsewhere", 0755);
    for (const char *name : {"/bin", "/sbin"}) {
        ASSERT_EQ(unlink(name), 0);
        ASSERT_EQ(symlink("/opt/elsewhere", name), 0);
    }
    EXPECT_TRUE(mustBeReplaced("/bin:/sbin"));
    EXPECT_EQ(log.messages(), QStringList{"warning: [PATH安全警告] PATH缺失系统核心目录"});
}

TEST_F(PathEnvironment, OnlyTheFirstProblemIsReported)
{
    EXPECT_TRUE(mustBeReplaced("/usr/local/bin:/tmp:/missing:."));
    EXPECT_EQ(log.messages(), QStringList{"warning: [PATH安全警告] PATH包含高危临时目录: \"/tmp\" "
                                          "(原始: \"/tmp\" )"});
}

TEST_F(PathEnvironment, AnEmptyItemHasNoCanonicalPathAndNoMessage)
{
    EXPECT_EQ(halvex::canonicalPath(QString()), QString());
    EXPECT_EQ(log.messages(), QStringList());
}

} // namespace
