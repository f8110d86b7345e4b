// SPDX-License-Identifier: MIT
#include "support/host_files.h"
#include "support/message_log.h"
#include "util/host_edition.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

constexpr const char *osRelease = "/etc/os-release";
constexpr const char *buildFile = "/etc/norva-build";

class HostEdition : public testing::Test
{
protected:
    void SetUp() override
    {
        QFile::remove(osRelease);
        QFile::remove(buildFile);
    }

    MessageLog log;
};

TEST_F(HostEdition, TheWordServerAnywhereMakesAServer)
{
    for (const char *text : {"PRETTY_NAME=\"Norva Server 20\"\n", "# a sErVeR of sorts",
                             "ID=observer\n", "A=1\nB=2\nVARIANT_ID=SERVER"}) {
        host::writeFile(osRelease, text);
        EXPECT_TRUE(halvex::detectServerEdition()) << text;
    }
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(HostEdition, AHostWithoutTheWordServerIsNoServer)
{
    for (const char *text : {"", "PRETTY_NAME=\"Norva Desktop\"\n", "A=SERV\nER=1\n"}) {
        host::writeFile(osRelease, text);
        EXPECT_FALSE(halvex::detectServerEdition()) << text;
    }
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(HostEdition, AHostWithoutTheFileIsNoServerAndAWarningNamesTheFile)
{
    EXPECT_FALSE(halvex::detectServerEdition());
    EXPECT_EQ(log.messages(), QStringList{"warning: Cannot open /etc/os-release"});
}

TEST_F(HostEdition, ADirectoryInTheFilesPlaceIsTreatedAsAnEmptyFile)
{
    ASSERT_TRUE(QDir().mkpath(osRelease));
    EXPECT_FALSE(halvex::detectServerEdition());
    int id = 5;
    EXPECT_FALSE(halvex::readReleaseId(id));
    EXPECT_EQ(id, 0);
}

struct ReleaseIdCase
{
    const char *content;
    bool found;
    int id;
};

TEST_F(HostEdition, TheReleaseIdIsReadFromTheFirstMatchingLine)
{
    const ReleaseIdCase cases[] = {
        {"NORVA_RELEASE_ID=\"2403\"\n", true, 2403},
        {"NAME=x\nNORVA_RELEASE_ID \t=\t \"7\"", true, 7},
        {"export OLD_NORVA_RELEASE_ID=\"2203\" # old\nNORVA_RELEASE_ID=\"2403\"\n", true, 2203},
        {"NORVA_RELEASE_ID=\"2147483647\"\n", true, 2147483647},
        {"NORVA_RELEASE_ID=\"007\"\n", true, 7},
        {"NORVA_RELEASE_ID=2403\nNORVA_RELEASE_ID=\"2303\"\n", true, 2303},
        {"NORVA_RELEASE_ID=2403\n", false, 0},
        {"NORVA_RELEASE_ID='2403'\n", false, 0},
        {"NORVA_RELEASE_ID=\"\"\n", false, 0},
        {"NORVA_RELEASE_ID=\"24a3\"\nNORVA_RELEASE_ID=\"2403\"\n", false, 0},
        {"NORVA_RELEASE_ID=\"24.03\"\n", false, 0},
        {"NORVA_RELEASE_ID=\" 2403\"\n", false, 0},
        {"NORVA_RELEASE_ID=\"-1\"\n", false, 0},
        {"NORVA_RELEASE_ID=\"2147483648\"\n", false, 0},
        {"NORVA_RELEASE_ID=\"99999999999999999999\"\n", false, 0},
        {"norva_release_id=\"2403\"\n", false, 0},
        {"NORVA_RELEASE_ID\n=\"2403\"\n", false, 0},
        {"", false, 0},
    };
    for (const ReleaseIdCase &each : cases) {
        host::writeFile(osRelease, each.content);
        int id = -5;
        EXPECT_EQ(halvex::readReleaseId(id), each.found) << each.content;
        EXPECT_EQ(id, each.id) << each.content;
    }
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(HostEdition, WithoutTheFileThereIsNoReleaseId)
{
    int id = 5;
    EXPECT_FALSE(halvex::readReleaseId(id));
    EXPECT_EQ(id, 0);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(HostEdition, ALineOfMegabytesIsRead)
{
    host::writeFile(osRelease,
                    "NORVA_RELEASE_ID=" + QByteArray(8 * 1024 * 1024, ' ') + "\"2403\"\nserver");
    int id = 5;
    EXPECT_TRUE(halvex::readReleaseId(id));
    EXPECT_EQ(id, 2403);
    EXPECT_TRUE(halvex::detectServerEdition());
}

TEST_F(HostEdition, TheGenerationIsZeroUntilABuildWithALevelIsClassified)
{
    EXPECT_EQ(halvex::hostGeneration, 0);
    host::writeFile(buildFile, "Build 20210801\n");
    halvex::classifyHostGeneration();
    EXPECT_EQ(halvex::hostGeneration, 0) << "a build without a level has changed the generation";
}

class HostGeneration : public HostEdition
{
protected:
    void SetUp() override
    {
        HostEdition::SetUp();
        halvex::hostGeneration = unset;
    }

    /// Classifies a build of @p date on the release @p id, expects no output, and returns the
    /// level. The level is `unset` if it has not been changed.
    static int levelOf(const char *date, int id)
    {
        host::writeFile(osRelease, "NORVA_RELEASE_ID=\"" + QByteArray::number(id) + "\"\n");
        host::writeFile(buildFile, QByteArray("Norva\nBuild ") + date + "\n");
        halvex::hostGeneration = unset;
        testing::internal::CaptureStdout();
        halvex::classifyHostGeneration();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        return halvex::hostGeneration;
    }

    static constexpr int unset = -7;
};

TEST_F(HostGeneration, EachKnownBuildHasItsLevel)
{
    EXPECT_EQ(levelOf("20210101", 1), 1);
    EXPECT_EQ(levelOf("20210731", 1), 1);
    EXPECT_EQ(levelOf("20220331", 2203), 2);
    EXPECT_EQ(levelOf("20220401", 2203), 1);
    EXPECT_EQ(levelOf("20230331", 2303), 3);
    EXPECT_EQ(levelOf("20230401", 2303), 2);
    EXPECT_EQ(levelOf("20240315", 2403), 4);
    EXPECT_EQ(levelOf("20240615", 2403), 3);
    EXPECT_EQ(levelOf("20250331", 2503), 5);
    EXPECT_EQ(levelOf("20250401", 2503), 4);
    EXPECT_EQ(levelOf("20260101", 1), 6);
    EXPECT_EQ(levelOf("99991231", 2203), 6);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(HostGeneration, AnyOtherBuildLeavesTheLevelUnchanged)
{
    EXPECT_EQ(levelOf("20210801", 1), unset);
    EXPECT_EQ(levelOf("20201231", 2203), unset);
    EXPECT_EQ(levelOf("20220101", 2303), unset);
    EXPECT_EQ(levelOf("20230101", 2203), unset);
    EXPECT_EQ(levelOf("20240101", 2503), unset);
    EXPECT_EQ(levelOf("20250101", 2403), unset);
}

TEST_F(HostGeneration, WithoutTheBuildFileTheLevelIsZeroAndNothingIsPrinted)
{
    testing::internal::CaptureStdout();
    halvex::classifyHostGeneration();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(halvex::hostGeneration, 0);
}

TEST_F(HostGeneration, WithoutABuildLineTheLevelIsZero)
{
    for (const char *content : {"", "build 20240315\n", "Build 2024031\n", "Build\n20240315x",
                                "Build20240315\n", "Build x20240315\n"}) {
        host::writeFile(buildFile, content);
        halvex::hostGeneration = unset;
        testing::internal::CaptureStdout();
        halvex::classifyHostGeneration();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "release id is 0\n") << content;
        EXPECT_EQ(halvex::hostGeneration, 0) << content;
    }
}

TEST_F(HostGeneration, TheFirstBuildLineCounts)
{
    host::writeFile(buildFile, "OldBuild \t 20260101999\nBuild 20210101\n");
    halvex::classifyHostGeneration();
    EXPECT_EQ(halvex::hostGeneration, 6);
}

TEST_F(HostGeneration, WithoutAReleaseIdAMessageIsPrintedAndOnlyTheDateCounts)
{
    host::writeFile(buildFile, "Build 20260101\n");
    testing::internal::CaptureStdout();
    halvex::classifyHostGeneration();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "release id is 0\n");
    EXPECT_EQ(halvex::hostGeneration, 6);
}

} // namespace
