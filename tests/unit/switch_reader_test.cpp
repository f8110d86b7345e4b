// SPDX-License-Identifier: MIT
#include "support/host_files.h"
#include "support/message_log.h"
#include "util/switch_reader.h"

#include <QFile>

#include <gtest/gtest.h>

#include <sys/resource.h>

namespace {

/// What the reader says of "three admin" when the status tool prints @p output.
bool isOn(const QByteArray &output, const char *key = "three admin")
{
    host::writeFile("/run/status", output);
    const MessageLog log;
    const bool result = halvex::readSwitchFromCommand("cat /run/status", key);
    EXPECT_EQ(log.messages(), QStringList());
    return result;
}

TEST(SwitchReader, OnIsOn)
{
    EXPECT_TRUE(isOn("three admin: on\n"));
}

TEST(SwitchReader, EnableAndEnabledAreOn)
{
    EXPECT_TRUE(isOn("three admin: enable\n"));
    EXPECT_TRUE(isOn("three admin: enabled\n"));
}

TEST(SwitchReader, AnyValueThatBeginsWithOnIsOn)
{
    EXPECT_TRUE(isOn("three admin: only\n"));
}

TEST(SwitchReader, OtherValuesAreOff)
{
    for (const char *value :
         {"off", "disable", "disabled", "", "is on", "o", "enabl", "1", "true"}) {
        EXPECT_FALSE(isOn(QByteArray("three admin: ") + value + "\n")) << value;
    }
}

TEST(SwitchReader, TheOutputIsComparedInLowerCase)
{
    EXPECT_TRUE(isOn("Three Admin : ON\n"));
}

TEST(SwitchReader, AKeyInUpperCaseNeverMatches)
{
    EXPECT_FALSE(isOn("THREE ADMIN: on\n", "THREE ADMIN"));
}

TEST(SwitchReader, WhiteSpaceAroundTheValueIsRemoved)
{
    EXPECT_TRUE(isOn("three admin:\t \r on \t\r\n"));
    EXPECT_TRUE(isOn("three admin:on"));
}

TEST(SwitchReader, OtherWhiteSpaceBelongsToTheValue)
{
    EXPECT_FALSE(isOn("three admin:\von\n"));
}

TEST(SwitchReader, AnythingMayStandAroundTheKey)
{
    EXPECT_TRUE(isOn("  state of three administrators (new) : on\n"));
}

TEST(SwitchReader, AColonBeforeTheKeyDoesNotCount)
{
    EXPECT_FALSE(isOn("on: three admin on\n"));
    EXPECT_TRUE(isOn("mode: three admin: on\n"));
}

TEST(SwitchReader, TheFirstOfTwoKeysInALineCounts)
{
    EXPECT_FALSE(isOn("three admin: off three admin: on\n"));
}

TEST(SwitchReader, AColonWithinTheKeyCounts)
{
    EXPECT_TRUE(isOn("mode: on\n", "mode:"));
    EXPECT_FALSE(isOn("a:b: on\n", "a:b"));
}

TEST(SwitchReader, TheValueBeginsBehindTheFirstColon)
{
    EXPECT_FALSE(isOn("three admin: mode: on\n"));
}

TEST(SwitchReader, ALineWithoutTheKeyIsSkipped)
{
    EXPECT_TRUE(isOn("two admin: off\nthree admin: on\n"));
}

TEST(SwitchReader, ALineWithTheKeyButWithoutAColonIsSkipped)
{
    EXPECT_TRUE(isOn("three admin mode\nthree admin: on\n"));
}

TEST(SwitchReader, OnlyTheFirstQualifyingLineCounts)
{
    EXPECT_FALSE(isOn("three admin: off\nthree admin: on\n"));
    EXPECT_TRUE(isOn("three admin: on\nthree admin: off\n"));
}

TEST(SwitchReader, SilenceIsOff)
{
    EXPECT_FALSE(isOn(""));
    EXPECT_FALSE(isOn("\n\n"));
}

TEST(SwitchReader, ALongLineIsSeenAsSeveralPieces)
{
    // The first piece is 1023 bytes: one byte more pushes the end of the key into the next.
    const QByteArray fits = QByteArray(1023 - 15, 'x') + "three admin: on\n";
    const QByteArray cut = QByteArray(1023 - 10, 'x') + "three admin: on\n";
    const QByteArray second = QByteArray(1023, 'x') + "three admin: on\n";
    EXPECT_TRUE(isOn(fits));
    EXPECT_FALSE(isOn(cut));
    EXPECT_TRUE(isOn(second));
}

TEST(SwitchReader, AValueCutOffByThePieceIsJudgedByWhatIsThere)
{
    EXPECT_FALSE(isOn(QByteArray(1023 - 14, 'x') + "three admin: on\n"));
}

TEST(SwitchReader, TheExitStatusDoesNotCount)
{
    EXPECT_TRUE(halvex::readSwitchFromCommand("echo three admin: on; exit 3", "three admin"));
}

TEST(SwitchReader, AMissingCommandIsOffAndTheShellSaysSo)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(halvex::readSwitchFromCommand("/usr/sbin/no-such-tool", "three admin"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "sh: 1: /usr/sbin/no-such-tool: not found\n");
}

TEST(SwitchReader, ACommandThatCannotBeStartedIsOffInSilence)
{
    // There is no file left for the pipe.
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

TEST(SwitchReader, ACommandThatMayNotBeRunIsOff)
{
    host::writeFile("/usr/sbin/some-tool", "three admin: on\n", 0644);
    EXPECT_FALSE(halvex::readSwitchFromCommand("/usr/sbin/some-tool", "three admin"));
}

TEST(SwitchReader, TheCommandHasEndedWhenTheAnswerIsThere)
{
    EXPECT_TRUE(halvex::readSwitchFromCommand(
        "echo three admin: on; exec >/dev/null; sleep 0.2; touch /run/ended", "three admin"));
    EXPECT_TRUE(QFile::exists("/run/ended"));
}

TEST(SwitchReader, TheRestOfTheOutputIsNotRead)
{
    // More than the pipe holds, so the command cannot write it all.
    EXPECT_TRUE(halvex::readSwitchFromCommand(
        "echo three admin: on; head -c 1000000 /dev/zero && touch /run/all-was-read",
        "three admin"));
    EXPECT_FALSE(QFile::exists("/run/all-was-read"));
}

TEST(SwitchReader, TheCommandSeesTheEnvironmentAsItIs)
{
    qputenv("LD_LIBRARY_PATH", "/nowhere");
    qputenv("ENV", "on");
    EXPECT_TRUE(halvex::readSwitchFromCommand("echo three admin: $ENV", "three admin"));
}

} // namespace
