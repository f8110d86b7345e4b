// SPDX-License-Identifier: MIT
#include "config/intervention_text.h"

#include <gtest/gtest.h>

#include <ostream>

namespace halvex {

bool operator==(const ByteSpan &left, const ByteSpan &right)
{
    return left.start == right.start && left.end == right.end;
}

void PrintTo(const ByteSpan &span, std::ostream *stream)
{
    *stream << span.start << ".." << span.end;
}

} // namespace halvex

namespace {

using halvex::fieldSearchStart;
using halvex::fieldValueIn;
using halvex::findFieldValue;
using halvex::quoteValueWords;

/// The value of the field "timeout" of the action "block" in @p content.
QByteArray timeoutOfBlockIn(const QByteArray &content)
{
    return fieldValueIn(content, "block", "timeout");
}

/// The part of @p content that setting the field "timeout" would replace, searched from the start.
QByteArray replaceable(const QByteArray &content)
{
    const auto span = findFieldValue(content, "timeout", 0);
    return span ? content.mid(span->start, span->end - span->start) : "(nothing)";
}

TEST(InterventionText, AValueIsReadWithoutItsQuotes)
{
    EXPECT_EQ(timeoutOfBlockIn("action \"block\" {\n  timeout = \"30\"\n}\n"), "30");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout = \"a\" \"b\" \"\"\n"), "a b ");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout = \"\"\n"), "");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout = a\"b\"\"c\n"), "abc");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout = 30"), "30");
}

TEST(InterventionText, AFieldIsFoundByAPartOfItsName)
{
    EXPECT_EQ(fieldValueIn("action \"block\"\ntimeout = \"30\"\n", "block", "out"), "30");
    EXPECT_EQ(fieldValueIn("action \"block\"\ntimeout = \"1\"\nout = \"2\"\n", "block", "out"),
              "1");
}

TEST(InterventionText, TheHeaderMayStandAnywhereInItsLine)
{
    EXPECT_EQ(timeoutOfBlockIn("  my_action \"block\"; {\ntimeout = 1\n"), "1");
    EXPECT_EQ(timeoutOfBlockIn("# action \"block\"\ntimeout = 1\n"), "1");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\" timeout = 1\ntimeout = 2\n"), "2");
}

TEST(InterventionText, TheHeaderHasTheWholeNameInQuotes)
{
    EXPECT_EQ(timeoutOfBlockIn("action \"blocker\"\ntimeout = 1\n"), "");
    EXPECT_EQ(timeoutOfBlockIn("action \"a block\"\ntimeout = 1\n"), "");
    EXPECT_EQ(timeoutOfBlockIn("action  \"block\"\ntimeout = 1\n"), "");
    EXPECT_EQ(timeoutOfBlockIn("action 'block'\ntimeout = 1\n"), "");
    EXPECT_EQ(timeoutOfBlockIn("Action \"block\"\ntimeout = 1\n"), "");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\ntimeout = 1\n"), "");
}

TEST(InterventionText, FieldsBeforeTheHeaderAreIgnored)
{
    EXPECT_EQ(timeoutOfBlockIn("timeout = 1\naction \"block\"\n"), "");
    EXPECT_EQ(timeoutOfBlockIn("timeout = 1\naction \"block\"\ntimeout = 2\n"), "2");
}

TEST(InterventionText, AnotherHeaderEndsTheSection)
{
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\nx = 1\naction \"warn\"\ntimeout = 2\n"), "");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\n}action \"\ntimeout = 2\n"), "");
}

TEST(InterventionText, AnotherHeaderInACommentDoesNotEndTheSection)
{
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\n # action \"warn\"\ntimeout = 2\n"), "2");
}

TEST(InterventionText, AFieldInTheLineOfAnotherHeaderStillBelongsToTheSection)
{
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout = action \"warn\"\n"), "action warn");
}

TEST(InterventionText, ASectionMayBeOpenedAgain)
{
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\naction \"warn\"\ntimeout = 1\n"
                               "action \"block\"\ntimeout = 2\n"),
              "2");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\naction \"block\"\ntimeout = 2\n"), "2");
}

TEST(InterventionText, BlankLinesAndCommentsAreNoFields)
{
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\n\n \t\v\f\r\n# timeout = 1\n"
                               " \t\v\f\r#timeout = 2\ntimeout = 3 # x\n"),
              "3 # x");
}

TEST(InterventionText, TheFieldHasABlankOnEachSideOfItsEqualsSign)
{
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout=1\ntimeout =2\ntimeout= 3\n"
                               "timeout\t= 4\ntimeout = 5\n"),
              "5");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout =\n"), "");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout = \n"), "");
}

TEST(InterventionText, TheValueBeginsTwoCharactersAfterTheFirstEqualsSignOfTheLine)
{
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\na=bcd timeout = 1\n"), "cd timeout = 1");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\n= timeout = 1 = 2\n"), "timeout = 1 = 2");
    EXPECT_EQ(fieldValueIn("action \"block\"\n= = \n", "block", "="), "=");
}

TEST(InterventionText, TrailingWhiteSpaceIsNotPartOfTheValue)
{
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\r\ntimeout = \"30\" \t\r\r\n"), "30");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout =  \t\"30 \"\n"), " \t30 ");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout = 30\v\n"), "30\v");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\ntimeout = \t \r\n"), "");
}

TEST(InterventionText, NamesAndValuesAreUtf8)
{
    EXPECT_EQ(fieldValueIn("action \"bl\xc3\xb6"
                           "ck\"\nz\xf0\x9f\x98\x80 = \"\xc3\xbc\xff\"\n",
                           "blöck", "z😀"),
              "\xc3\xbc\xff");
}

TEST(InterventionText, WithoutActionOrFieldTheValueIsEmpty)
{
    EXPECT_EQ(timeoutOfBlockIn(""), "");
    EXPECT_EQ(timeoutOfBlockIn("\n\n"), "");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\""), "");
    EXPECT_EQ(timeoutOfBlockIn("action \"block\"\nother = 1\n"), "");
}

TEST(InterventionText, NulBytesAreOrdinaryCharacters)
{
    const QByteArray content("action \"block\"\n\0timeout = a\0b\n", 31);
    EXPECT_EQ(timeoutOfBlockIn(content), QByteArray("a\0b", 3));
}

TEST(InterventionText, TheSearchForAFieldStartsAfterTheFirstHeader)
{
    EXPECT_EQ(fieldSearchStart("action \"block\" {\n", "block"), 14);
    EXPECT_EQ(fieldSearchStart("# action \"block\"\naction \"block\"", "block"), 16);
    EXPECT_EQ(fieldSearchStart("action \"blocker\"\n", "block"), std::nullopt);
    EXPECT_EQ(fieldSearchStart("", "block"), std::nullopt);
}

TEST(InterventionText, WithMultibyteCharactersInTheNameTheSearchStartsInsideTheHeader)
{
    // ö has one UTF-16 unit and two bytes. The emoji has two units and four bytes.
    EXPECT_EQ(fieldSearchStart("action \"\xc3\xb6\xf0\x9f\x98\x80\"\n", "ö😀"), 12);
}

TEST(InterventionText, TheValueIsReplacedUpToTheLineFeed)
{
    EXPECT_EQ(replaceable("timeout = \"30\"\n"), "\"30\"");
    EXPECT_EQ(replaceable("timeout = \"30\" # old\r\nx\n"), "\"30\" # old\r");
    EXPECT_EQ(replaceable("timeout = \n"), "");
    EXPECT_EQ(replaceable("timeout =\"30\"\n"), "30\"");
    EXPECT_EQ(replaceable("mytimeout = 1\n"), "1");
}

TEST(InterventionText, AnEqualsSignAtTheLinesEndMakesTheNextLineTheValue)
{
    EXPECT_EQ(replaceable("timeout =\nnext = 1\nx\n"), "next = 1");
    EXPECT_EQ(replaceable("timeout =\r\nx = 2\n"), "");
    EXPECT_EQ(replaceable("timeout =\n\n"), "");
}

TEST(InterventionText, WithoutFieldOrLineFeedNothingIsReplaceable)
{
    EXPECT_EQ(replaceable("timeout = 30"), "(nothing)");
    EXPECT_EQ(replaceable("timeout = "), "(nothing)");
    EXPECT_EQ(replaceable("timeout ="), "(nothing)");
    EXPECT_EQ(replaceable("timeout =\n"), "(nothing)");
    EXPECT_EQ(replaceable("timeout= 1\n"), "(nothing)");
    EXPECT_EQ(replaceable("out = 1\n"), "(nothing)");
    EXPECT_EQ(replaceable(""), "(nothing)");
}

TEST(InterventionText, TheSearchContinuesAfterACommentedOutField)
{
    EXPECT_EQ(replaceable("# timeout = 1\ntimeout = 2\n"), "2");
    EXPECT_EQ(replaceable("# timeouts = 1\ntimeout = 2\n"), "2");
    EXPECT_EQ(replaceable("timeout = 1\nx\n# timeout\ntimeout = 3\n"), "3");
    EXPECT_EQ(replaceable("timeout = 1\n# timeout = 2\n"), "(nothing)");
    // The search continues after the first such comment only. A comment counts only if exactly one
    // blank is between "#" and the field.
    EXPECT_EQ(replaceable("# timeout = 1\n# timeout = 2\ntimeout = 3\n"), "2");
    EXPECT_EQ(replaceable("#timeout = 1\n"), "1");
    EXPECT_EQ(replaceable("#  timeout = 1\n"), "1");
}

TEST(InterventionText, TheSearchIgnoresTextBeforeItsStart)
{
    const QByteArray content = "timeout = 1\ntimeout = 2\n";
    EXPECT_EQ(findFieldValue(content, "timeout", 1), (halvex::ByteSpan{22, 23}));
    EXPECT_EQ(findFieldValue(content, "timeout", 12), (halvex::ByteSpan{22, 23}));
    EXPECT_EQ(findFieldValue(content, "timeout", 13), std::nullopt);
    EXPECT_EQ(findFieldValue(content, "timeout", content.size()), std::nullopt);
    // A comment that begins before the start is ignored.
    EXPECT_EQ(findFieldValue("# timeout = 1\n", "timeout", 1), (halvex::ByteSpan{12, 13}));
}

TEST(InterventionText, TheLengthOfAFieldNameIsCountedInBytes)
{
    EXPECT_EQ(findFieldValue("\xf0\x9f\x98\x80 = 1\n", "😀", 0), (halvex::ByteSpan{7, 8}));
    EXPECT_EQ(findFieldValue("# \xf0\x9f\x98\x80\xf0\x9f\x98\x80 = 1\n", "😀", 0),
              (halvex::ByteSpan{13, 14}));
}

TEST(InterventionText, EachWordIsQuoted)
{
    EXPECT_EQ(quoteValueWords("30"), "\"30\"");
    EXPECT_EQ(quoteValueWords("a b c"), "\"a\" \"b\" \"c\"");
    EXPECT_EQ(quoteValueWords("a\"b\tc\nd"), "\"a\"b\tc\nd\"");
}

TEST(InterventionText, EachBlankSeparatesTwoWords)
{
    EXPECT_EQ(quoteValueWords("a  b"), "\"a\" \"\" \"b\"");
    EXPECT_EQ(quoteValueWords(" a"), "\"\" \"a\"");
    EXPECT_EQ(quoteValueWords("a "), "\"a\"");
    EXPECT_EQ(quoteValueWords("a  "), "\"a\" \"\"");
    EXPECT_EQ(quoteValueWords(" "), "\"\"");
    EXPECT_EQ(quoteValueWords("  "), "\"\" \"\"");
    EXPECT_EQ(quoteValueWords(""), "");
}

} // namespace
