// SPDX-License-Identifier: MIT
//
// Tests the model itself with cases worked out by hand.
#include "model/block_time_model.h"
#include "model/intervention_model.h"
#include "support/printing.h"

#include <QBuffer>
#include <QTextStream>

#include <gmock/gmock.h>

namespace {

const QByteArray twoActions = "# the suite's actions\n"
                              "action \"block\" {\n"
                              "    timeout = \"30\"\n"
                              "    # mail = \"no\"\n"
                              "}\n"
                              "action \"warn\" {\n"
                              "    mail = \"root\" \"anna\"  \t\r\n"
                              "    level = \"2\"\n"
                              "}\n";

QString valueIn(const QByteArray &content, const QString &action, const QString &field)
{
    const auto call = model::getInterventionConfig({content, {}}, action, field);
    EXPECT_EQ(call.status, 0);
    return call.fieldValue.value_or("untouched");
}

/// The file after a call that succeeds.
QByteArray changed(const QByteArray &content, const QString &action, const QString &field,
                   const QString &value)
{
    const auto call = model::setInterventionConfig({content, {}}, action, field, value);
    EXPECT_TRUE(call.returns);
    EXPECT_EQ(call.status, 0);
    return call.files.intervention.value_or("gone");
}

bool returns(const QByteArray &content, const QString &action, const QString &field)
{
    return model::setInterventionConfig({content, {}}, action, field, "x").returns;
}

/// The status and the out-value of reading the block time.
std::pair<int, QString> timeIn(const QByteArray &content)
{
    const auto call = model::getInterventionConfig({{}, content}, "any", "blockip_timeout");
    return {call.status, call.fieldValue.value_or("untouched")};
}

QByteArray timeChanged(const QByteArray &content, const QString &value)
{
    const auto call = model::setInterventionConfig({{}, content}, "any", "blockip_timeout", value);
    EXPECT_EQ(call.status, 0);
    return call.files.blockTime.value_or("gone");
}

TEST(InterventionModel, AValueIsReadWithoutItsQuotes)
{
    EXPECT_EQ(valueIn(twoActions, "block", "timeout"), "30");
    EXPECT_EQ(valueIn(twoActions, "warn", "mail"), "root anna");
}

TEST(InterventionModel, AFieldNameInsideALongerNameIsFound)
{
    EXPECT_EQ(valueIn(twoActions, "block", "out"), "30");
}

TEST(InterventionModel, ASectionEndsAtTheNextHeader)
{
    EXPECT_EQ(valueIn(twoActions, "block", "level"), "");
}

TEST(InterventionModel, ACommentCanBeginASectionButCanNeitherEndASectionNorHoldAField)
{
    EXPECT_EQ(valueIn(twoActions, "block", "mail"), "");
    EXPECT_EQ(valueIn("# action \"a\"\n#action \"b\"\nx = 1\n", "a", "x"), "1");
}

TEST(InterventionModel, AFieldInTheNextHeadersLineIsReadButAFieldInTheSectionsOwnHeaderLineIsNot)
{
    EXPECT_EQ(valueIn("action \"a\"\naction \"b\" x = 1\n", "a", "x"), "1");
    EXPECT_EQ(valueIn("action \"a\" x = 1\n", "a", "x"), "");
}

TEST(InterventionModel, TheValueBeginsTwoCharactersAfterTheFirstEqualsSign)
{
    EXPECT_EQ(valueIn("action \"a\"\na=b = 1\n", "a", "b"), " = 1");
    EXPECT_EQ(valueIn("action \"a\"\nx = \n", "a", "x"), "");
}

TEST(InterventionModel, TrailingBlanksAreCutOffBeforeTheQuotesAreRemoved)
{
    EXPECT_EQ(valueIn("action \"a\"\nx = \"v \" \t\r\n", "a", "x"), "v ");
    EXPECT_EQ(valueIn("action \"a\"\nx = v\v ", "a", "x"), "v\v");
}

TEST(InterventionModel, AValueWithANulByteIsReadToItsEnd)
{
    EXPECT_EQ(valueIn(QByteArrayLiteral("action \"a\"\nx = 1\0x\n"), "a", "x"),
              QString("1") + QChar(0) + "x");
}

TEST(InterventionModel, ReadingFailsWithoutANameOrAFile)
{
    for (const auto &call : {model::getInterventionConfig({"", ""}, "", "x"),
                             model::getInterventionConfig({"", ""}, "a", ""),
                             model::getInterventionConfig({{}, ""}, "a", "x"),
                             model::getInterventionConfig({"", {}}, "a", "blockip_timeout")}) {
        EXPECT_EQ(call.status, -1);
        EXPECT_FALSE(call.fieldValue.has_value());
    }
}

TEST(InterventionModel, EachWordIsQuoted)
{
    EXPECT_EQ(model::quoted("root"), "\"root\"");
    EXPECT_EQ(model::quoted("root anna"), "\"root\" \"anna\"");
    EXPECT_EQ(model::quoted("a  b "), "\"a\" \"\" \"b\"");
    EXPECT_EQ(model::quoted(" a"), "\"\" \"a\"");
    EXPECT_EQ(model::quoted(" "), "\"\"");
    EXPECT_EQ(model::quoted("  "), "\"\" \"\"");
}

TEST(InterventionModel, OnlyTheValueChanges)
{
    QByteArray expected = twoActions;
    expected.replace("timeout = \"30\"", "timeout = \"a\" \"b\"");
    EXPECT_EQ(changed(twoActions, "block", "timeout", "a b"), expected);
    expected.replace("timeout = \"a\" \"b\"", "timeout = \"\"");
    EXPECT_EQ(changed(twoActions, "block", "timeout", ""), expected);
}

TEST(InterventionModel, ACarriageReturnAfterTheOldValueIsLost)
{
    EXPECT_EQ(changed("action \"a\"\r\nx = 1\r\ny = 2\r\n", "a", "x", "3"),
              "action \"a\"\r\nx = \"3\"\ny = 2\r\n");
}

TEST(InterventionModel, IfALineEndsWithTheEqualsSignTheNextLineIsReplaced)
{
    EXPECT_EQ(changed("action \"a\"\nx =\ny = 2\nz = 3\n", "a", "x", "1"),
              "action \"a\"\nx =\n\"1\"\nz = 3\n");
}

TEST(InterventionModel, ALaterCommentThatBeginsWithTheFieldHidesTheField)
{
    EXPECT_EQ(changed("action \"a\"\nx = 1\n# x\naction \"b\"\nx = 2\n", "a", "x", "3"),
              "action \"a\"\nx = 1\n# x\naction \"b\"\nx = \"3\"\n");
    EXPECT_FALSE(returns("action \"a\"\nx = 1\n# x = 2\n", "a", "x"));
}

TEST(InterventionModel, TheActionNameIsCountedInUtf16Units)
{
    // The name has six bytes but two UTF-16 units: the search begins four bytes before the header's
    // end.
    EXPECT_EQ(changed("action \"\u5757\u5757\" = 1\nx = 2\n", "\u5757\u5757", "\"", "3"),
              "action \"\u5757\u5757\" = \"3\"\nx = 2\n");
    // The multibyte characters have twelve bytes but six UTF-16 units: the search begins inside the
    // last one.
    const QString name = "\U0001f600\U0001f600\U0001f600x =1";
    EXPECT_EQ(changed("action \"" + name.toUtf8() + "\" {\nx = 2\n", name, "x", "3"),
              "action \"" + name.toUtf8() + "\"3\"\nx = 2\n");
}

TEST(InterventionModel, NothingChangesIfTheActionIsMissing)
{
    const auto call = model::setInterventionConfig({twoActions, {}}, "loc", "timeout", "1");
    EXPECT_TRUE(call.returns);
    EXPECT_EQ(call.status, -1);
    EXPECT_EQ(call.files, (model::SettingsFiles{twoActions, {}}));
}

TEST(InterventionModel, ACallNeverReturnsIfTheFieldOrTheLineFeedAfterItsValueIsMissing)
{
    EXPECT_FALSE(returns(twoActions, "block", "missing"));
    EXPECT_FALSE(returns(twoActions, "warn", "timeout"));
    EXPECT_FALSE(returns("action \"a\"\nx = 1", "a", "x"));
    EXPECT_FALSE(returns("action \"a\"\nx =\n", "a", "x"));
    EXPECT_TRUE(returns("action \"a\"\nx = \n", "a", "x"));
}

TEST(InterventionModel, AFileThatCannotBeWrittenStaysAsItIs)
{
    const model::SettingsFiles files{twoActions, "TIMEOUT=\n", false};
    for (const QString field : {"timeout", "blockip_timeout"}) {
        const auto call = model::setInterventionConfig(files, "block", field, "1");
        EXPECT_EQ(call.status, -1);
        EXPECT_EQ(call.files, files);
    }
    EXPECT_FALSE(model::setInterventionConfig(files, "block", "missing", "1").returns);
}

TEST(InterventionModel, TheBlockTimeIsRead)
{
    EXPECT_EQ(timeIn("A=1\nTIMEOUT=\"timeout 600s\"\nTIMEOUT=\n"), std::pair(0, QString("600s")));
    EXPECT_EQ(timeIn("TIMEOUT=0x600"), std::pair(0, QString("600s")));
    EXPECT_EQ(timeIn("TIMEOUT=\"timeout -7s\""), std::pair(0, QString("7s")));
    EXPECT_EQ(timeIn("TIMEOUT= \t\n"), std::pair(0, QString("-1")));
    EXPECT_EQ(timeIn("TIMEOUT=\"timeout 00s\"\n"), std::pair(0, QString("untouched")));
    EXPECT_EQ(timeIn(" TIMEOUT=5\ntimeout=5\n"), std::pair(0, QString("untouched")));
    EXPECT_EQ(timeIn(""), std::pair(0, QString("untouched")));
    EXPECT_EQ(timeIn("TIMEOUT=2147483647"), std::pair(0, QString("2147483647s")));
    EXPECT_EQ(timeIn("TIMEOUT=2147483648"), std::pair(-1, QString("untouched")));
    EXPECT_EQ(timeIn("TIMEOUT=00000000000000000600"), std::pair(0, QString("600s")));
    EXPECT_EQ(timeIn("TIMEOUT=\u0666"), std::pair(-1, QString("untouched")));
    EXPECT_EQ(timeIn("TIMEOUT=\"\""), std::pair(-1, QString("untouched")));
}

TEST(InterventionModel, TheBlockTimeIsWritten)
{
    const QByteArray six = "TIMEOUT=\"timeout 600s\"\n";
    EXPECT_EQ(timeChanged(six, "900s"), "TIMEOUT=\"timeout 900s\"\n");
    EXPECT_EQ(timeChanged(six, "900"), "TIMEOUT=\"timeout 90s\"\n");
    EXPECT_EQ(timeChanged(six, ""), "TIMEOUT=\"timeout s\"\n");
    EXPECT_EQ(timeChanged(six, "-1"), "TIMEOUT=\n");
    EXPECT_EQ(timeChanged("TIMEOUT= \r\n", "900"), "TIMEOUT=\"timeout 900\"\n");
    EXPECT_EQ(timeChanged("TIMEOUT=600", "900s"), "TIMEOUT=600\n");
    EXPECT_EQ(timeChanged("A\r\n\nB", "900s"), "A\n\nB\n");
    EXPECT_EQ(timeChanged("", "900s"), "");
    EXPECT_EQ(timeChanged("TIMEOUT=x TIMEOUT=\"timeout 6s\" # 6\n" + six, "6%1s"),
              "TIMEOUT=\"timeout 6%1s\"\nTIMEOUT=\"timeout 6%1s\"\n");
    EXPECT_EQ(timeChanged("TIMEOUT=\"timeout \u0666s\"\n", "1s"), "TIMEOUT=\"timeout \u0666s\"\n");
    EXPECT_EQ(timeChanged(six, "9\U0001f600"), "TIMEOUT=\"timeout 9?s\"\n");
}

TEST(InterventionModel, LinesAreSplitAsByATextStream)
{
    for (QByteArray content :
         {QByteArrayLiteral(""), QByteArrayLiteral("\n"), QByteArrayLiteral("a\n\nb"),
          QByteArrayLiteral("a\r\nb\rc\r\r\n\r"),
          QByteArrayLiteral("\xef\xbb\xbf"
                            "a\n"),
          QByteArrayLiteral("a\0b\n\0"), QByteArrayLiteral("\u2028\u0085\n\U0001f600\v\f")}) {
        QBuffer buffer(&content);
        ASSERT_TRUE(buffer.open(QIODevice::ReadOnly | QIODevice::Text));
        QTextStream stream(&buffer);
        std::vector<QString> expected;
        while (!stream.atEnd()) {
            expected.push_back(stream.readLine());
        }
        EXPECT_EQ(model::textLines(content), expected) << content.toHex(' ').constData();
    }
}

} // namespace
