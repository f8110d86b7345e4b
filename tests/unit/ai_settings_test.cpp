// SPDX-License-Identifier: MIT
#include "config/ai_settings.h"
#include "support/file_size_limit.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/printing.h"
#include "support/settings_paths.h"

#include <QDir>
#include <QFile>
#include <QTextCodec>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

constexpr const char *path = settings::aiPath;
constexpr int maxComponents = 498;

/// A key of @p count components, all of which are "a".
QString keyOf(int count)
{
    return QString("a.").repeated(count - 1) + 'a';
}

class AiSettingsModule : public testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(log.messages(), QStringList()); }

    /// The status of reading @p key from a file that holds @p yaml.
    int statusOf(const QByteArray &yaml, const QString &key)
    {
        host::writeFile(path, yaml);
        value = "untouched";
        return halvex::getAiConfig(path, 0, key, value);
    }

    /// The content of a file with @p yaml after @p newValue has been written to @p key.
    static QByteArray changed(const QByteArray &yaml, const QString &key, const QString &newValue)
    {
        host::writeFile(path, yaml);
        EXPECT_EQ(halvex::setAiConfig(path, 0, key, newValue), 0);
        return host::readFile(path);
    }

    /// Tells whether writing to a file with @p yaml fails and leaves the file unchanged.
    static bool isRefused(const QByteArray &yaml, const QString &key, const QString &newValue = "1")
    {
        host::writeFile(path, yaml);
        return halvex::setAiConfig(path, 0, key, newValue) == -1 && host::readFile(path) == yaml;
    }

    MessageLog log;
    QString value;
};

TEST_F(AiSettingsModule, AScalarIsRead)
{
    EXPECT_EQ(statusOf("# engine\ndga_detect: 1\nother: x\n", "dga_detect"), 0);
    EXPECT_EQ(value, "1");
    EXPECT_EQ(statusOf("a:\n  b: 'zwölf 😀'\n", "a.b"), 0);
    EXPECT_EQ(value, "zwölf 😀");
    EXPECT_EQ(statusOf("a: 0x1F\nb: yes\nc: ''\n", "a"), 0);
    EXPECT_EQ(value, "0x1F");
    EXPECT_EQ(statusOf("a: 0x1F\nb: yes\nc: ''\n", "b"), 0);
    EXPECT_EQ(value, "yes");
    EXPECT_EQ(statusOf("a: 0x1F\nb: yes\nc: ''\n", "c"), 0);
    EXPECT_EQ(value, "");
    EXPECT_EQ(statusOf("a: {'': {'': x}}", "a.."), 0);
    EXPECT_EQ(value, "x");
}

TEST_F(AiSettingsModule, ANullIsReadAsTheTextNull)
{
    EXPECT_EQ(statusOf("a:\n", "a"), 0);
    EXPECT_EQ(value, "null");
}

TEST_F(AiSettingsModule, AnyTypeOtherThan0FailsAndChangesNothing)
{
    host::writeFile(path, "a: 1\n");
    for (const int type : {1, -1, 2147483647}) {
        value = "untouched";
        EXPECT_EQ(halvex::getAiConfig(path, type, "a", value), -1);
        EXPECT_EQ(value, "untouched");
        EXPECT_EQ(halvex::setAiConfig(path, type, "a", "2"), -1);
    }
    EXPECT_EQ(host::readFile(path), "a: 1\n");
}

TEST_F(AiSettingsModule, AnEmptyKeyFails)
{
    EXPECT_EQ(statusOf("'': 1\n", ""), -1);
    EXPECT_EQ(value, "untouched");
    EXPECT_EQ(halvex::readAiSetting(path, "", value), -1);
    EXPECT_EQ(value, "untouched");
    EXPECT_TRUE(isRefused("'': 1\n", ""));
}

TEST_F(AiSettingsModule, AnEmptyValueCannotBeWritten)
{
    EXPECT_TRUE(isRefused("a: 1\n", "a", ""));
}

TEST_F(AiSettingsModule, AMissingFileFailsAndIsNotMade)
{
    value = "untouched";
    EXPECT_EQ(halvex::getAiConfig(path, 0, "a", value), -1);
    EXPECT_EQ(value, "");
    EXPECT_EQ(halvex::setAiConfig(path, 0, "a", "1"), -1);
    EXPECT_FALSE(QFile::exists(path));
}

TEST_F(AiSettingsModule, ADirectoryInTheFilesPlaceFails)
{
    ASSERT_TRUE(QDir().mkpath(path));
    EXPECT_EQ(halvex::getAiConfig(path, 0, "a", value), -1);
    EXPECT_EQ(halvex::setAiConfig(path, 0, "a", "1"), -1);
}

TEST_F(AiSettingsModule, AMissingOrNonScalarNodeFailsWithAnEmptyValue)
{
    for (const char *key : {"missing", "map", "sequence", "scalar.x", "sequence.0", "map.x", "map.",
                            ".", "map.scalar.x"}) {
        EXPECT_EQ(statusOf("scalar: 1\nmap: {scalar: 1}\nsequence: [1]\n", key), -1) << key;
        EXPECT_EQ(value, "") << key;
    }
    for (const char *yaml : {"", "# nothing\n", "text", "[a, b]", "~", "---\n...\n"}) {
        EXPECT_EQ(statusOf(yaml, "a"), -1) << yaml;
        EXPECT_EQ(value, "") << yaml;
    }
}

TEST_F(AiSettingsModule, AReadDoesNotChangeTheFile)
{
    EXPECT_EQ(statusOf("a:   1 # one\n", "b.c"), -1);
    EXPECT_EQ(host::readFile(path), "a:   1 # one\n");
}

TEST_F(AiSettingsModule, ASyntaxErrorFails)
{
    for (const char *yaml : {"a: [1", "a: b: c", "a: 1\n b: 2\n- c", "a: \"x", "\ta: 1", "a: *b",
                             "a: 1\n}", "%YAML 9 9\n---\na: 1", "a: !<x 1", "? ? ["}) {
        EXPECT_EQ(statusOf(yaml, "a"), -1) << yaml;
        EXPECT_EQ(value, "") << yaml;
        EXPECT_TRUE(isRefused(yaml, "a")) << yaml;
    }
}

TEST_F(AiSettingsModule, TheTypeOfAWrittenValueFollowsFromItsText)
{
    EXPECT_EQ(changed("a: x\n", "a", "1"), "a: 1");
    EXPECT_EQ(changed("a: x\n", "a", "on"), "a: true");
    EXPECT_EQ(changed("a: x\n", "a", "No"), "a: false");
    EXPECT_EQ(changed("a: x\n", "a", "1.5"), "a: \"1.5\"");
    EXPECT_EQ(changed("a: x\n", "a", "two words"), "a: \"two words\"");
    EXPECT_EQ(changed("a: x\n", "a", "~"), "a: \"~\"");
    EXPECT_EQ(changed("a: x\n", "a", "[1, 2]"), "a: \"[1, 2]\"");
    EXPECT_EQ(changed("a: x\n", "a", "zwölf \"😀\"\n"), "a: \"zwölf \\\"😀\\\"\\n\"");
}

TEST_F(AiSettingsModule, AWriteReformatsTheWholeFile)
{
    EXPECT_EQ(changed("# engine\n"
                      "zeta: off   # no\n"
                      "alpha: {b: [1, 'two', 0x3], c: ~, 'd e': &x yes}\n"
                      "model: './m.bin'\n"
                      "again: *x\n",
                      "dga_detect", "1"),
              "zeta: false\n"
              "alpha:\n"
              "  b:\n"
              "    - 1\n"
              "    - \"two\"\n"
              "    - 3\n"
              "  c: ~\n"
              "  d e: true\n"
              "model: \"./m.bin\"\n"
              "again: true\n"
              "dga_detect: 1");
}

TEST_F(AiSettingsModule, AScalarOnTheKeysPathBecomesAMap)
{
    EXPECT_EQ(changed("a: 1\nb: 2\n", "a.c", "5"), "a:\n  c: 5\nb: 2");
}

TEST_F(AiSettingsModule, AFullStopAtTheEndOfAKeyAddsAnEmptyComponent)
{
    EXPECT_EQ(changed("a: 1\n", "b.", "5"), "a: 1\nb:\n  \"\": 5");
    EXPECT_EQ(changed("a: 1\n", "..", "5"), "a: 1\n\"\":\n  \"\":\n    \"\": 5");
}

TEST_F(AiSettingsModule, AnEmptyFileGetsItsFirstEntry)
{
    EXPECT_EQ(changed("", "a", "1"), "a: 1");
    EXPECT_EQ(changed("# nothing\n", "a.b", "1"), "a:\n  b: 1");
}

TEST_F(AiSettingsModule, AWrittenKeyIsReadBackAndWritingItAgainChangesNothing)
{
    for (const char *key :
         {"a",       "a.b", "x y",   "a: b", "- c", "--- d", "#e", "~",  "null", "1",
          "zwölf.😀", "%f",  "\"g\"", "h\ni", "?",   "&j",    "*k", "!l", "[m]",  " n "}) {
        const QByteArray once = changed("first: 1\n", key, "x");
        value.clear();
        EXPECT_EQ(halvex::getAiConfig(path, 0, key, value), 0) << key;
        EXPECT_EQ(value, "x") << key;
        EXPECT_EQ(changed(once, key, "x"), once) << key;
    }
}

TEST_F(AiSettingsModule, ARootThatIsNotAMapFailsAndStaysUnchanged)
{
    EXPECT_TRUE(isRefused("[a, b]\n", "a"));
    EXPECT_TRUE(isRefused("[a, b]\n", "0"));
    EXPECT_TRUE(isRefused("text\n", "a"));
    EXPECT_EQ(statusOf("text\n", "text"), -1);
}

TEST_F(AiSettingsModule, TheFirstOfSeveralDocumentsIsReadButNoneIsWritten)
{
    const QByteArray yaml = "a: 1\n---\na: 2\nb: 3\n";
    EXPECT_EQ(statusOf(yaml, "a"), 0);
    EXPECT_EQ(value, "1");
    EXPECT_EQ(statusOf(yaml, "b"), -1);
    EXPECT_TRUE(isRefused(yaml, "a"));
    EXPECT_TRUE(isRefused("a: 1\n---\nb: [\n", "a")) << "a broken document after a good one";
    EXPECT_EQ(changed("--- # one\na: 1\n...\n", "a", "2"), "a: 2");
}

TEST_F(AiSettingsModule, AFileWithContentAfterTheFirstDocumentIsNotWritten)
{
    for (const char *yaml :
         {"a: 1\n...\nb: 2\n", "a: 1\r---\rb: 2\n", "a: 1\r\n--- b\r\n", "# ä\na: 1\n---\nb: 2\n",
          "a: 1\n%YAML 1.2\n---\nb: 2\n", "? \n---\nb: 2\n", "{a: 1}\nb: 2\n",
          "!!map\n  a: 1\nb: 2\n", " a: 1\nb: 2\n", "a: |\n  text\n---\nb: 2\n"}) {
        EXPECT_TRUE(isRefused(yaml, "a")) << yaml;
    }
    QByteArray utf16 = "\xff\xfe";
    for (const char byte : QByteArray("a: 1\n---\nb: 2\n")) {
        utf16 += QByteArray(1, byte) + '\0';
    }
    EXPECT_TRUE(isRefused(utf16, "a"));
    EXPECT_EQ(changed("a: 1 # ---\nb: \"---\"\n", "a", "2"), "a: 2\nb: \"---\"");
    EXPECT_EQ(changed("{a: &x 1, b: *x}\n", "a", "2"), "a: 2\nb: 1")
        << "the file is refused although no document follows";
}

TEST_F(AiSettingsModule, AFileWithMapOrListKeysIsReadButNotWrittenAndANullKeyIsWrittenAsText)
{
    const QByteArray yaml = "? {a: b}\n: 1\n? [c]\n: 2\n? ~\n: 3\nd: 4\n";
    EXPECT_EQ(statusOf(yaml, "d"), 0);
    EXPECT_EQ(value, "4");
    EXPECT_EQ(statusOf(yaml, "a"), -1);
    EXPECT_TRUE(isRefused(yaml, "d"));
    EXPECT_EQ(changed("~: 3\nd: 4\n", "d", "5"), "\"null\": 3\nd: 5");
}

TEST_F(AiSettingsModule, AFileWithAnAliasThatContainsItselfIsReadButWrittenOnlyIfTheAliasIsReplaced)
{
    EXPECT_EQ(statusOf("a: &a {b: *a, c: 1}\n", "a.b.b.b.c"), 0);
    EXPECT_EQ(value, "1");
    EXPECT_EQ(statusOf("a: &a {b: *a, c: 1}\n", "a.b"), -1);
    EXPECT_TRUE(isRefused("a: &a {b: *a, c: 1}\n", "a.c"));
    EXPECT_TRUE(isRefused("a: &a [*a]\n", "b"));
    EXPECT_EQ(changed("a: &a {b: *a, c: 1}\n", "a.b", "x"), "a:\n  b: \"x\"\n  c: 1");
}

TEST_F(AiSettingsModule, AliasesOfAliasesDoNotFillTheDisk)
{
    QByteArray yaml = "a0: &a0 [x, x, x, x, x, x, x, x, x, x]\n";
    for (int i = 1; i < 12; ++i) {
        const QByteArray alias = "*a" + QByteArray::number(i - 1);
        yaml += "a" + QByteArray::number(i) + ": &a" + QByteArray::number(i) + " [" + alias +
                (", " + alias).repeated(9) + "]\n";
    }
    EXPECT_EQ(statusOf(yaml + "b: 1\n", "b"), 0);
    EXPECT_TRUE(isRefused(yaml, "b"));
}

TEST_F(AiSettingsModule, EscapingMayMakeALongKeyOrValueFourTimesAsLong)
{
    // Each of these characters is escaped to four characters. The entry after them must still be
    // emitted.
    const QByteArray before(10 << 20, '\1');
    const QByteArray after = QByteArray("\\x01").repeated(10 << 20);
    EXPECT_TRUE(changed("a: 1\nb: 2\n", "a", before) == "a: \"" + after + "\"\nb: 2");
    EXPECT_TRUE(changed("a: 1\n", before, "2") == "a: 1\n? \"" + after + "\"\n: 2");
}

TEST_F(AiSettingsModule, AKeyOfMoreThan1024BytesAfterEscapingIsWrittenAsAnExplicitKeyAndReadBack)
{
    for (const int length : {255, 256}) {
        const QByteArray key(length, '\1');
        const QByteArray escaped = '"' + QByteArray("\\x01").repeated(length) + '"';
        EXPECT_EQ(changed("", key, "1"),
                  length == 255 ? escaped + ": 1" : "? " + escaped + "\n: 1");
        EXPECT_EQ(halvex::getAiConfig(path, 0, key, value), 0) << length;
        EXPECT_EQ(value, "1");
    }
    const QByteArray plain(1024, 'k');
    EXPECT_EQ(changed("", plain, "1"), plain + ": 1");
    EXPECT_EQ(changed("", plain + 'k', "1"), "? " + plain + "k\n: 1");
    EXPECT_EQ(changed("", plain + '\r', "1"), "? \"" + plain + "\\r\"\n: 1");
    EXPECT_EQ(halvex::getAiConfig(path, 0, plain + '\r', value), 0);
}

TEST_F(AiSettingsModule, NonCharactersInQuotesBecomeTheReplacementCharacter)
{
    EXPECT_EQ(changed("a: \"\\uFFFE\"\n", "b", "\uffff"), "a: \"\ufffd\"\nb: \"\ufffd\"");
    EXPECT_EQ(changed("", " \ufffe", "1"), "\" \ufffd\": 1");
    EXPECT_EQ(changed("", "\ufffe", "1"), "\ufffe: 1") << "a key that needs no quotes";
}

TEST_F(AiSettingsModule, IndentationMayEnlargeAFileUpToALimit)
{
    // Each number is emitted on its own line, indented by 400 levels.
    const auto deepList = [](int numbers) {
        return "a: 1\nlist: " + QByteArray("[").repeated(400) + QByteArray("1,").repeated(numbers) +
               QByteArray("]").repeated(400) + '\n';
    };
    EXPECT_GT(changed(deepList(10000), "a", "2").size(), 8000000);
    EXPECT_EQ(statusOf(host::readFile(path), "a"), 0);
    EXPECT_EQ(value, "2");
    EXPECT_TRUE(isRefused(deepList(50000), "a"));
    // The limit is 16 MiB plus eight times the file's size. Each number's line has 805 bytes.
    EXPECT_FALSE(isRefused(deepList(21000), "a"));
    EXPECT_TRUE(isRefused(deepList(21700), "a"));
}

TEST_F(AiSettingsModule, NestingThousandsOfLevelsDeepIsRefused)
{
    for (const QByteArray &yaml :
         {QByteArray("[").repeated(100000), QByteArray("{a: ").repeated(100000),
          QByteArray("- ").repeated(100000), QByteArray("? ").repeated(100000),
          QByteArray("[").repeated(5000) + QByteArray("]").repeated(5000),
          QByteArray("{a: ").repeated(5000) + '1' + QByteArray("}").repeated(5000),
          QByteArray("[").repeated(64 << 20)}) {
        EXPECT_EQ(statusOf(yaml, "a"), -1);
        EXPECT_TRUE(isRefused(yaml, "a"));
    }
}

TEST_F(AiSettingsModule, MillionsOfNodesAreRefused)
{
    for (const QByteArray &yaml :
         {"a: [" + QByteArray("1,").repeated(32 << 20) + "1]\n",
          QByteArray("a: 1\n").repeated(13 << 20), QByteArray("- 1\n").repeated(16 << 20),
          QByteArray("&a ").repeated(21 << 20)}) {
        EXPECT_EQ(statusOf(yaml, "a"), -1);
        EXPECT_TRUE(isRefused(yaml, "a"));
    }
}

TEST_F(AiSettingsModule, MoreThanTwoMillionBytesThatCouldBeginANodeAreRefused)
{
    for (const char indicator : QByteArray(",[{:-&*!?")) {
        const QByteArray most = '#' + QByteArray(1999999, indicator) + "\na: 1\n";
        EXPECT_EQ(statusOf(most, "a"), 0) << indicator;
        EXPECT_EQ(statusOf('#' + QByteArray(1, indicator) + '\n' + most, "a"), -1) << indicator;
    }
}

TEST_F(AiSettingsModule, BracketsInACommentDoNotNest)
{
    EXPECT_EQ(statusOf("# " + QByteArray("[").repeated(1900000) + "\na: 1\n", "a"), 0);
    EXPECT_EQ(value, "1");
}

TEST_F(AiSettingsModule, InvalidUtf8IsReadAsReplacementCharacters)
{
    EXPECT_EQ(statusOf("a: x\xff\xc3 y\n", "a"), 0);
    EXPECT_EQ(value, QString("x") + QChar(0xfffd) + QChar(0xfffd) + " y");
    EXPECT_EQ(changed("\xff: x\xff\n", "a", "2"), "\xff: \"x\xef\xbf\xbd\"\na: 2");
}

TEST_F(AiSettingsModule, TextIsUtf8WhateverTheLocalesCodec)
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    EXPECT_EQ(changed("a: 1\n", "ä", "ö☂"), "a: 1\n\xc3\xa4: \"\xc3\xb6\xe2\x98\x82\"");
    EXPECT_EQ(halvex::getAiConfig(path, 0, "ä", value), 0);
    EXPECT_EQ(value, "ö☂");
}

TEST_F(AiSettingsModule, OwnerAndModeAreKept)
{
    host::writeFile(path, "a: 1\n", 0600);
    ASSERT_EQ(chown(path, 2001, 2002), 0);
    EXPECT_EQ(halvex::setAiConfig(path, 0, "a", "2"), 0);
    EXPECT_EQ(host::ownerAndMode(path), "2001:2002 0600");
}

TEST_F(AiSettingsModule, AFileThatCannotBeWrittenIsNotReported)
{
    host::writeFile(path, "a: 1\n");
    host::makeUnwritable(path);
    EXPECT_EQ(halvex::setAiConfig(path, 0, "a", "2"), 0);
    EXPECT_EQ(host::readFile(path), "a: 1\n");
}

TEST_F(AiSettingsModule, AWriteErrorAfterSomeBytesIsNotReported)
{
    const QByteArray text(100000, 'x');
    const FileSizeLimit limit(60000);
    host::writeFile(path, "a: 1\nb: 2\n");
    EXPECT_EQ(halvex::setAiConfig(path, 0, "a", text), 0);
    EXPECT_EQ(host::readFile(path), ("a: \"" + text).left(60000));
}

TEST_F(AiSettingsModule, AFullDiskIsNotReported)
{
    host::writeFile(path, "a: 1\n");
    const FileSizeLimit limit(0);
    EXPECT_EQ(halvex::setAiConfig(path, 0, "a", "2"), 0);
    EXPECT_EQ(host::readFile(path), "");
}

TEST_F(AiSettingsModule, TheLongestKeyIsReadBackAndALongerOneIsRefused)
{
    const QString longest = keyOf(maxComponents);
    changed("b: 1\n", longest, "x");
    EXPECT_EQ(halvex::getAiConfig(path, 0, longest, value), 0);
    EXPECT_EQ(value, "x");
    EXPECT_TRUE(isRefused("b: 1\n", keyOf(maxComponents + 1)));
    EXPECT_TRUE(isRefused("b: 1\n", QString(maxComponents, '.')));
}

TEST_F(AiSettingsModule, AKeyOfMillionsOfFullStopsIsRefused)
{
#ifdef __SANITIZE_ADDRESS__ // the full length would take half a minute
    const QString key(1000000, '.');
#else
    const QString key(20000000, '.');
#endif
    EXPECT_EQ(statusOf("a: 1\n'': {'': {}}\n", key), -1);
    EXPECT_EQ(value, "");
    EXPECT_EQ(statusOf("&a {'': *a}\n", key), -1);
    EXPECT_TRUE(isRefused("a: 1\n", key));
}

TEST_F(AiSettingsModule, AComponentOfAMillionCharactersIsReadBack)
{
    const QString key(1000000, 'k');
    changed("b: 1\n", key, "x");
    EXPECT_EQ(halvex::getAiConfig(path, 0, key, value), 0);
    EXPECT_EQ(value, "x");
}

TEST_F(AiSettingsModule, AFileOf64MiBIsReadAndWritten)
{
    const QByteArray comments = QByteArray("# 345678901234\n").repeated((64 << 20) / 15);
    EXPECT_EQ(statusOf(comments + "a: 1\n", "a"), 0);
    EXPECT_EQ(value, "1");
    EXPECT_EQ(changed(comments + "a: 1\n", "a", "2"), "a: 2");
}

TEST_F(AiSettingsModule, AByteOrderMarkIsPartOfTheValue)
{
    host::writeFile(path, "a: 1\n");
    const QString text = QChar(QChar::ByteOrderMark) + QString("7");
    EXPECT_EQ(halvex::setAiConfig(path, 0, "a", text), 0);
    EXPECT_EQ(halvex::getAiConfig(path, 0, "a", value), 0);
    EXPECT_EQ(value, text);
}

} // namespace
