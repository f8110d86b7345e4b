// SPDX-License-Identifier: MIT
#include "support/host_files.h"
#include "support/message_log.h"
#include "util/switch_reader.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <sys/resource.h>

namespace {

using testing::HasSubstr;

class SwitchReader : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(QDir::setCurrent(directory.path())); }
    void TearDown() override { ASSERT_TRUE(QDir::setCurrent("/")); }

    /// Whether the reader finds @p key switched on when the status tool prints @p output.
    static bool isOn(const QByteArray &output, const char *key = "three admin")
    {
        host::writeFile("status", output);
        const MessageLog log;
        const bool result = halvex::readSwitchFromCommand("cat status", key);
        EXPECT_EQ(log.messages(), QStringList());
        return result;
    }

private:
    const QTemporaryDir directory;
};

TEST_F(SwitchReader, TheValueOnIsOn)
{
    EXPECT_TRUE(isOn("three admin: on\n"));
}

TEST_F(SwitchReader, TheValuesEnableAndEnabledAreOn)
{
    EXPECT_TRUE(isOn("three admin: enable\n"));
    EXPECT_TRUE(isOn("three admin: enabled\n"));
}

TEST_F(SwitchReader, AnyValueThatBeginsWithOnIsOn)
{
    EXPECT_TRUE(isOn("three admin: only\n"));
}

TEST_F(SwitchReader, OtherValuesAreOff)
{
    for (const char *value :
         {"off", "disable", "disabled", "", "is on", "o", "enabl", "1", "true"}) {
        EXPECT_FALSE(isOn(QByteArray("three admin: ") + value + "\n")) << value;
    }
}

TEST_F(SwitchReader, TheOutputIsComparedInLowerCase)
{
    EXPECT_TRUE(isOn("Three Admin : ON\n"));
}

TEST_F(SwitchReader, AKeyInUpperCaseNeverMatches)
{
    EXPECT_FALSE(isOn("THREE ADMIN: on\n", "THREE ADMIN"));
}

TEST_F(SwitchReader, WhiteSpaceAroundTheValueIsRemoved)
{
    EXPECT_TRUE(isOn("three admin:\t \r on \t\r\n"));
    EXPECT_TRUE(isOn("three admin:on"));
}

TEST_F(SwitchReader, OtherWhiteSpaceBelongsToTheValue)
{
    EXPECT_FALSE(isOn("three admin:\von\n"));
}

TEST_F(SwitchReader, TextAroundTheKeyIsIgnored)
{
    EXPECT_TRUE(isOn("  state of three administrators (new) : on\n"));
}

TEST_F(SwitchReader, AColonBeforeTheKeyIsIgnored)
{
    EXPECT_FALSE(isOn("on: three admin on\n"));
    EXPECT_TRUE(isOn("mode: three admin: on\n"));
}

TEST_F(SwitchReader, TheFirstOfTwoKeysInALineCounts)
{
    EXPECT_FALSE(isOn("three admin: off three admin: on\n"));
}

TEST_F(SwitchReader, AColonInsideTheKeyBeginsTheValue)
{
    EXPECT_TRUE(isOn("mode: on\n", "mode:"));
    EXPECT_FALSE(isOn("a:b: on\n", "a:b"));
}

TEST_F(SwitchReader, TheValueBeginsAfterTheFirstColon)
{
    EXPECT_FALSE(isOn("three admin: mode: on\n"));
}

TEST_F(SwitchReader, ALineWithoutTheKeyIsSkipped)
{
    EXPECT_TRUE(isOn("two admin: off\nthree admin: on\n"));
}

TEST_F(SwitchReader, ALineWithTheKeyButWithoutAColonIsSkipped)
{
    EXPECT_TRUE(isOn("three admin mode\nthree admin: on\n"));
}

TEST_F(SwitchReader, OnlyTheFirstQualifyingLineCounts)
{
    EXPECT_FALSE(isOn("three admin: off\nthree admin: on\n"));
    EXPECT_TRUE(isOn("three admin: on\nthree admin: off\n"));
}

TEST_F(SwitchReader, EmptyOutputIsOff)
{
    EXPECT_FALSE(isOn(""));
    EXPECT_FALSE(isOn("\n\n"));
}

TEST_F(SwitchReader, ALongLineIsReadAsSeveralLines)
{
    // A piece has 1023 bytes. In `cut`, the end of the key falls into the second piece.
    const QByteArray fits = QByteArray(1023 - 15, 'x') + "three admin: on\n";
    const QByteArray cut = QByteArray(1023 - 10, 'x') + "three admin: on\n";
    const QByteArray second = QByteArray(1023, 'x') + "three admin: on\n";
    EXPECT_TRUE(isOn(fits));
    EXPECT_FALSE(isOn(cut));
    EXPECT_TRUE(isOn(second));
}

TEST_F(SwitchReader, AValueThatIsCutOffInALongLineIsComparedAsItIs)
{
    EXPECT_FALSE(isOn(QByteArray(1023 - 14, 'x') + "three admin: on\n"));
}

TEST_F(SwitchReader, TheExitStatusIsIgnored)
{
    EXPECT_TRUE(halvex::readSwitchFromCommand("echo three admin: on; exit 3", "three admin"));
}

TEST_F(SwitchReader, AMissingCommandIsOffAndTheShellReportsThatItIsMissing)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(halvex::readSwitchFromCommand("./no-such-tool", "three admin"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::AllOf(HasSubstr("no-such-tool"), HasSubstr("not found")));
}

TEST_F(SwitchReader, ACommandThatCannotBeStartedIsOffInSilence)
{
    // No file descriptor is left for the pipe.
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    const MessageLog log;
    testing::internal::CaptureStderr();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_FALSE(halvex::readSwitchFromCommand("echo three admin: on", "three admin"));
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(SwitchReader, ACommandThatIsNotExecutableIsOff)
{
    host::writeFile("some-tool", "echo three admin: on\n", 0644);
    EXPECT_FALSE(halvex::readSwitchFromCommand("./some-tool", "three admin"));
}

TEST_F(SwitchReader, TheReaderReturnsAfterTheCommandHasEnded)
{
    EXPECT_TRUE(halvex::readSwitchFromCommand(
        "echo three admin: on; exec >/dev/null; sleep 0.2; touch ended", "three admin"));
    EXPECT_TRUE(QFile::exists("ended"));
}

TEST_F(SwitchReader, TheRestOfTheOutputIsNotRead)
{
    // The output is larger than the pipe's buffer, so the command cannot write all of it.
    EXPECT_TRUE(halvex::readSwitchFromCommand(
        "echo three admin: on; head -c 1000000 /dev/zero && touch all-was-read", "three admin"));
    EXPECT_FALSE(QFile::exists("all-was-read"));
}

TEST_F(SwitchReader, TheCommandGetsTheEnvironmentUnchanged)
{
    qputenv("LD_LIBRARY_PATH", "/nowhere");
    qputenv("ENV", "on");
    EXPECT_TRUE(halvex::readSwitchFromCommand("echo three admin: $ENV", "three admin"));
    qunsetenv("LD_LIBRARY_PATH");
    qunsetenv("ENV");
}

} // namespace
