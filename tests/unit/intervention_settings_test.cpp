// SPDX-License-Identifier: MIT
#include "config/intervention_settings.h"
#include "support/file_size_limit.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/printing.h"
#include "support/processor_time.h"
#include "support/settings_paths.h"

#include <QDir>
#include <QFile>
#include <QTextCodec>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char *configPath = settings::interventionPath;
using settings::blockTimePath;

const QByteArray original = "# interventions\n"
                            "action \"block\" {\n"
                            "    # timeout = \"10\"\n"
                            "    timeout = \"30\"\n"
                            "    hosts = \"a\" \"b\"\n"
                            "}\n"
                            "action \"warn\" {\n"
                            "    text = \"hello\"\n"
                            "}\n";

class InterventionSettingsModule : public testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(log.messages(), QStringList()); }

    int get(const QString &action, const QString &field)
    {
        value = "untouched";
        return halvex::getInterventionConfig(configPath, blockTimePath, action, field, value);
    }

    static int set(const QString &action, const QString &field, const QString &newValue)
    {
        return halvex::setInterventionConfig(configPath, blockTimePath, action, field, newValue);
    }

    /// The content of an intervention file with @p content after @p newValue has been written.
    static QByteArray changed(const QByteArray &content, const QString &action,
                              const QString &field, const QString &newValue)
    {
        host::writeFile(configPath, content);
        EXPECT_EQ(set(action, field, newValue), 0);
        return host::readFile(configPath);
    }

    /// The content of a block-time file with @p content after @p newValue has been written.
    static QByteArray changedBlockTime(const QByteArray &content, const QString &newValue)
    {
        host::writeFile(blockTimePath, content);
        EXPECT_EQ(set("any action", "blockip_timeout", newValue), 0);
        return host::readFile(blockTimePath);
    }

    MessageLog log;
    QString value;
};

/// Tells whether setting a field keeps a child process busy and never returns.
bool neverReturns(const QString &action, const QString &field)
{
    const pid_t child = fork();
    if (child == 0) {
        const int status =
            halvex::setInterventionConfig(configPath, blockTimePath, action, field, "x");
        _exit(status == 0 ? 0 : 1);
    }
    const bool isBusy = keepsBusy(child);
    const bool isRunning = waitpid(child, nullptr, WNOHANG) == 0;
    if (isRunning) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    return isBusy && isRunning;
}

TEST_F(InterventionSettingsModule, AFieldIsReadFromItsActionsSection)
{
    host::writeFile(configPath, original);
    EXPECT_EQ(get("block", "timeout"), 0);
    EXPECT_EQ(value, "30");
    EXPECT_EQ(get("block", "hosts"), 0);
    EXPECT_EQ(value, "a b");
    EXPECT_EQ(get("warn", "text"), 0);
    EXPECT_EQ(value, "hello");
}

TEST_F(InterventionSettingsModule, AMissingActionOrFieldIsASuccessWithAnEmptyValue)
{
    host::writeFile(configPath, original);
    for (const auto &[action, field] :
         {std::pair("log", "timeout"), std::pair("warn", "timeout"), std::pair("block", "text")}) {
        EXPECT_EQ(get(action, field), 0);
        EXPECT_EQ(value, "");
    }
    host::writeFile(configPath, "");
    EXPECT_EQ(get("block", "timeout"), 0);
    EXPECT_EQ(value, "");
}

TEST_F(InterventionSettingsModule, AnEmptyNameFails)
{
    host::writeFile(configPath, original);
    host::writeFile(blockTimePath, "TIMEOUT=\"timeout 600s\"\n");
    EXPECT_EQ(get("", "timeout"), -1);
    EXPECT_EQ(get("block", ""), -1);
    EXPECT_EQ(get("", "blockip_timeout"), -1);
    EXPECT_EQ(value, "untouched");
    EXPECT_EQ(set("", "timeout", "1"), -1);
    EXPECT_EQ(set("block", "", "1"), -1);
    EXPECT_EQ(set("", "blockip_timeout", "1"), -1);
    EXPECT_EQ(host::readFile(configPath), original);
    EXPECT_EQ(host::readFile(blockTimePath), "TIMEOUT=\"timeout 600s\"\n");
}

TEST_F(InterventionSettingsModule, AMissingFileFailsAndIsNotMade)
{
    EXPECT_EQ(get("block", "timeout"), -1);
    EXPECT_EQ(get("block", "blockip_timeout"), -1);
    EXPECT_EQ(value, "untouched");
    EXPECT_EQ(set("block", "timeout", "1"), -1);
    EXPECT_EQ(set("block", "blockip_timeout", "1s"), -1);
    EXPECT_FALSE(QFile::exists(configPath));
    EXPECT_FALSE(QFile::exists(blockTimePath));
}

TEST_F(InterventionSettingsModule, InvalidUtf8IsReadAsReplacementCharacters)
{
    host::writeFile(configPath, "action \"block\"\ntimeout = \"a\xff\xc3\"\n");
    EXPECT_EQ(get("block", "timeout"), 0);
    EXPECT_EQ(value, QString("a") + QChar(0xfffd) + QChar(0xfffd));
}

TEST_F(InterventionSettingsModule, TextIsUtf8WhateverTheLocalesCodec)
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    const QByteArray content = "action \"gr\xc3\xbcn\" {\n\xc3\xa4 = \"1\"\n}\n";
    EXPECT_EQ(changed(content, "grün", "ä", "ö☂"),
              QByteArray(content).replace('1', "\xc3\xb6\xe2\x98\x82"));
    EXPECT_EQ(get("grün", "ä"), 0);
    EXPECT_EQ(value, "ö☂");
}

TEST_F(InterventionSettingsModule, OnlyTheValueIsReplaced)
{
    QByteArray expected = original;
    expected.replace("\"30\"", "\"60\"");
    EXPECT_EQ(changed(original, "block", "timeout", "60"), expected);
    EXPECT_EQ(get("block", "timeout"), 0);
    EXPECT_EQ(value, "60");
}

TEST_F(InterventionSettingsModule, EachWordOfAValueIsQuoted)
{
    EXPECT_EQ(changed("action \"block\"\nhosts = \"a\"\n", "block", "hosts", "x y"),
              "action \"block\"\nhosts = \"x\" \"y\"\n");
    EXPECT_EQ(get("block", "hosts"), 0);
    EXPECT_EQ(value, "x y");
    EXPECT_EQ(changed("action \"block\"\nhosts = \"a\"\n", "block", "hosts", "x  ö "),
              "action \"block\"\nhosts = \"x\" \"\" \"\xc3\xb6\"\n");
}

TEST_F(InterventionSettingsModule, AnEmptyValueIsTwoQuotes)
{
    EXPECT_EQ(changed("action \"block\"\nhosts = \"a\" \"b\"\n", "block", "hosts", ""),
              "action \"block\"\nhosts = \"\"\n");
    EXPECT_EQ(get("block", "hosts"), 0);
    EXPECT_EQ(value, "");
}

TEST_F(InterventionSettingsModule, AFieldInALaterActionsSectionIsChanged)
{
    QByteArray expected = original;
    expected.replace("\"hello\"", "\"bye\"");
    EXPECT_EQ(changed(original, "block", "text", "bye"), expected);
}

TEST_F(InterventionSettingsModule, AFieldNameMatchesALongerNameThatContainsIt)
{
    EXPECT_EQ(changed("action \"a\"\nlong_name = 1\nname = 2\n", "a", "name", "x"),
              "action \"a\"\nlong_name = \"x\"\nname = 2\n");
}

TEST_F(InterventionSettingsModule, AnEqualsSignAtTheLinesEndMakesTheNextLineTheValue)
{
    EXPECT_EQ(changed("action \"a\"\nname =\nother = 2\n", "a", "name", "x"),
              "action \"a\"\nname =\n\"x\"\n");
}

TEST_F(InterventionSettingsModule, TheFirstCharacterAfterTheEqualsSignIsKept)
{
    EXPECT_EQ(changed("action \"a\"\nname =\"1\"\n", "a", "name", "x"),
              "action \"a\"\nname =\"\"x\"\n");
}

TEST_F(InterventionSettingsModule, TheCarriageReturnOfTheLineIsReplacedWithTheValue)
{
    EXPECT_EQ(changed("action \"a\"\r\nname = \"1\"\r\nb = 2\r\n", "a", "name", "x"),
              "action \"a\"\r\nname = \"x\"\nb = 2\r\n");
}

TEST_F(InterventionSettingsModule, TheSearchContinuesAfterALaterCommentedOutField)
{
    EXPECT_EQ(
        changed("action \"a\"\nname = 1\naction \"b\"\n# name = 2\nname = 3\n", "a", "name", "x"),
        "action \"a\"\nname = 1\naction \"b\"\n# name = 2\nname = \"x\"\n");
}

TEST_F(InterventionSettingsModule, AFieldOnItsActionsHeaderLineIsChanged)
{
    EXPECT_EQ(changed("action \"a\" name = 1\nname = 2\n", "a", "name", "x"),
              "action \"a\" name = \"x\"\nname = 2\n");
}

TEST_F(InterventionSettingsModule, TheSearchMayBeginInsideAHeaderWithMultibyteCharacters)
{
    // The name has five ö and ends with text that looks like a field. Because of the five ö, the
    // search begins five bytes before the header's end.
    EXPECT_EQ(changed("action \"ööööön =\" \nn = 2\n", "ööööön =", "n", "x"),
              "action \"ööööön =\"\"x\"\nn = 2\n");
}

TEST_F(InterventionSettingsModule, TheRestOfTheFileIsKeptByteForByte)
{
    const QByteArray before("\xff\0\r\naction \"a\"\n\v\f", 16);
    const QByteArray after("\n\n\0tail\xfe without end", 20);
    EXPECT_EQ(changed(before + "n = 1" + after, "a", "n", "x"), before + "n = \"x\"" + after);
}

TEST_F(InterventionSettingsModule, AMissingActionFailsAndTheFileIsUnchanged)
{
    host::writeFile(configPath, original);
    EXPECT_EQ(set("log", "timeout", "1"), -1);
    EXPECT_EQ(set("bloc", "timeout", "1"), -1);
    EXPECT_EQ(host::readFile(configPath), original);
}

TEST_F(InterventionSettingsModule, SettingAMissingFieldNeverReturns)
{
    host::writeFile(configPath, original);
    EXPECT_TRUE(neverReturns("warn", "timeout"));
    EXPECT_EQ(host::readFile(configPath), original);
}

TEST_F(InterventionSettingsModule, SettingAFieldInALastLineWithoutALineFeedNeverReturns)
{
    host::writeFile(configPath, "action \"a\"\nname = 1");
    EXPECT_TRUE(neverReturns("a", "name"));
    EXPECT_EQ(host::readFile(configPath), "action \"a\"\nname = 1");
}

TEST_F(InterventionSettingsModule, OwnerAndModeAreKept)
{
    host::writeFile(configPath, original, 0640);
    ASSERT_EQ(chown(configPath, 2001, 2002), 0);
    EXPECT_EQ(set("block", "timeout", "60"), 0);
    EXPECT_EQ(host::ownerAndMode(configPath), "2001:2002 0640");
}

TEST_F(InterventionSettingsModule, AFileThatCannotBeWrittenFails)
{
    host::writeFile(configPath, original);
    host::makeUnwritable(configPath);
    EXPECT_EQ(set("block", "timeout", "60"), -1);
    EXPECT_EQ(host::readFile(configPath), original);
}

TEST_F(InterventionSettingsModule, AWriteErrorAfterSomeBytesIsNotReported)
{
    const QByteArray text(100000, 'x');
    const FileSizeLimit limit(60000);
    EXPECT_EQ(changed("action \"a\"\nname = 1\n", "a", "name", text),
              ("action \"a\"\nname = \"" + text).left(60000));
}

TEST_F(InterventionSettingsModule, AFullDiskIsNotReported)
{
    host::writeFile(configPath, original);
    const FileSizeLimit limit(0);
    EXPECT_EQ(set("block", "timeout", "60"), 0);
    EXPECT_EQ(host::readFile(configPath), "");
}

TEST_F(InterventionSettingsModule, TheBlockTimeIsReadInSecondsForEveryAction)
{
    host::writeFile(configPath, "action \"block\"\nblockip_timeout = \"1\"\n");
    host::writeFile(blockTimePath, "TIMEOUT=\"timeout 600s\"\n");
    for (const char *action : {"block", "no such action"}) {
        EXPECT_EQ(get(action, "blockip_timeout"), 0);
        EXPECT_EQ(value, "600s");
    }
    host::writeFile(blockTimePath, "TIMEOUT=\"timeout 900\"\n");
    EXPECT_EQ(get("block", "blockip_timeout"), 0);
    EXPECT_EQ(value, "900s");
}

TEST_F(InterventionSettingsModule, AnEmptyBlockTimeIsMinusOne)
{
    host::writeFile(blockTimePath, "TIMEOUT=  \n");
    EXPECT_EQ(get("block", "blockip_timeout"), 0);
    EXPECT_EQ(value, "-1");
}

TEST_F(InterventionSettingsModule, AZeroOrMissingBlockTimeLeavesTheValueUntouched)
{
    host::writeFile(blockTimePath, "TIMEOUT=\"timeout 0s\"\n");
    EXPECT_EQ(get("block", "blockip_timeout"), 0);
    EXPECT_EQ(value, "untouched");
    host::writeFile(blockTimePath, "# nothing\n");
    EXPECT_EQ(get("block", "blockip_timeout"), 0);
    EXPECT_EQ(value, "untouched");
}

TEST_F(InterventionSettingsModule, AnUnparsableBlockTimeFails)
{
    host::writeFile(blockTimePath, "TIMEOUT=for ever\n");
    EXPECT_EQ(get("block", "blockip_timeout"), -1);
    host::writeFile(blockTimePath, "TIMEOUT=\"timeout 2147483648s\"\n");
    EXPECT_EQ(get("block", "blockip_timeout"), -1);
    EXPECT_EQ(value, "untouched");
}

TEST_F(InterventionSettingsModule, TheFieldNameOfTheBlockTimeIsComparedExactly)
{
    host::writeFile(configPath, "action \"block\"\nBlockip_timeout = \"1\"\n");
    host::writeFile(blockTimePath, "TIMEOUT=\"timeout 600s\"\n");
    EXPECT_EQ(get("block", "Blockip_timeout"), 0);
    EXPECT_EQ(value, "1");
    EXPECT_EQ(get("block", "lockip_timeout"), 0);
    EXPECT_EQ(value, "1");
    EXPECT_EQ(get("block", "blockip_timeout "), 0);
    EXPECT_EQ(value, "");
}

TEST_F(InterventionSettingsModule, TheBlockTimeIsWrittenToItsOwnFileOnly)
{
    host::writeFile(configPath, "action \"block\"\nblockip_timeout = \"1\"\n");
    EXPECT_EQ(changedBlockTime("TIMEOUT=\"timeout 600s\"\n", "900s"), "TIMEOUT=\"timeout 900s\"\n");
    EXPECT_EQ(host::readFile(configPath), "action \"block\"\nblockip_timeout = \"1\"\n");
}

TEST_F(InterventionSettingsModule, AWrittenBlockTimeLosesItsLastCharacterUnlessTheOldValueIsEmpty)
{
    EXPECT_EQ(changedBlockTime("TIMEOUT=\"timeout 600s\"\n", "900"), "TIMEOUT=\"timeout 90s\"\n");
    EXPECT_EQ(changedBlockTime("TIMEOUT=\"timeout 600s\"\n", "-1"), "TIMEOUT=\n");
    EXPECT_EQ(get("block", "blockip_timeout"), 0);
    EXPECT_EQ(value, "-1");
    EXPECT_EQ(changedBlockTime("TIMEOUT=\n", "900"), "TIMEOUT=\"timeout 900\"\n");
    EXPECT_EQ(get("block", "blockip_timeout"), 0);
    EXPECT_EQ(value, "900s");
    EXPECT_EQ(changedBlockTime("TIMEOUT=\n", "600s"), "TIMEOUT=\"timeout 600s\"\n");
}

TEST_F(InterventionSettingsModule, WritingABlockTimeWithoutASuitableLineSucceedsAndChangesNothing)
{
    EXPECT_EQ(changedBlockTime("TIMEOUT=600\n", "900s"), "TIMEOUT=600\n");
    EXPECT_EQ(changedBlockTime("# nothing\n", "900s"), "# nothing\n");
}

TEST_F(InterventionSettingsModule, AFileOf64MiBIsReadAndWritten)
{
    const QByteArray comments = QByteArray("# 345678901234\n").repeated((64 << 20) / 15);
    host::writeFile(configPath, "action \"a\"\n" + comments + "name = \"1\"\n");
    EXPECT_EQ(get("a", "name"), 0);
    EXPECT_EQ(value, "1");
    EXPECT_EQ(set("a", "name", "2"), 0);
    EXPECT_TRUE(host::readFile(configPath) == "action \"a\"\n" + comments + "name = \"2\"\n");
}

TEST_F(InterventionSettingsModule, AValueOfMillionsOfBlanksIsWritten)
{
    constexpr int blanks = 4 << 20;
    EXPECT_TRUE(changed("action \"a\"\nname = \"1\"\n", "a", "name", QString(blanks, ' ') + 'x') ==
                "action \"a\"\nname = " + QByteArray("\"\" ").repeated(blanks) + "\"x\"\n");
}

TEST_F(InterventionSettingsModule, AByteOrderMarkIsPartOfTheValue)
{
    host::writeFile(configPath, original);
    const QString text = QChar(QChar::ByteOrderMark) + QString("7");
    EXPECT_EQ(set("block", "timeout", text), 0);
    EXPECT_EQ(get("block", "timeout"), 0);
    EXPECT_EQ(value, text);
}

} // namespace
