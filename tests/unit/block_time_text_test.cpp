// SPDX-License-Identifier: MIT
#include "config/block_time_text.h"
#include "support/printing.h"

#include <gtest/gtest.h>

namespace {

using halvex::isTimeoutLine;
using halvex::parseTimeoutValue;
using halvex::rewriteTimeoutLine;

TEST(BlockTimeText, ATimeoutLineBeginsWithTheKeyInCapitals)
{
    EXPECT_TRUE(isTimeoutLine("TIMEOUT=\"timeout 600s\""));
    EXPECT_TRUE(isTimeoutLine("TIMEOUT="));
    EXPECT_FALSE(isTimeoutLine(" TIMEOUT=1"));
    EXPECT_FALSE(isTimeoutLine("#TIMEOUT=1"));
    EXPECT_FALSE(isTimeoutLine("timeout=1"));
    EXPECT_FALSE(isTimeoutLine("TIMEOUT =1"));
    EXPECT_FALSE(isTimeoutLine("TIMEOUT"));
    EXPECT_FALSE(isTimeoutLine(""));
}

TEST(BlockTimeText, TheTimeoutConsistsOfAllDigitsOfTheValue)
{
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=\"timeout 600s\""), 600);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=600"), 600);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=1h 30m"), 130);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=\"timeout 0s\""), 0);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=000000000000000600"), 600);
}

TEST(BlockTimeText, AMinusSignIsIgnored)
{
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=-1"), 1);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=\"timeout -600s\""), 600);
}

TEST(BlockTimeText, TheValueBeginsAfterTheFirstEqualsSign)
{
    EXPECT_EQ(parseTimeoutValue("A1=2=3"), 23);
    EXPECT_EQ(parseTimeoutValue("=7"), 7);
}

TEST(BlockTimeText, EmptyAndUnparsableValuesHaveDifferentResults)
{
    EXPECT_EQ(parseTimeoutValue("TIMEOUT="), -2);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT= \t\v\f\r\n"), -2);
    EXPECT_EQ(parseTimeoutValue(QString("TIMEOUT=") + QChar(0xa0)), -2);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=none"), -1);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=\"\""), -1);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT"), -1);
    EXPECT_EQ(parseTimeoutValue(""), -1);
}

TEST(BlockTimeText, ATimeoutAbove2147483647IsUnparsable)
{
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=2147483647"), 2147483647);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=2147483648"), -1);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=4294967296600"), -1);
}

TEST(BlockTimeText, OnlyAsciiDigitsCount)
{
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=٦٠٠"), -1);
    EXPECT_EQ(parseTimeoutValue("TIMEOUT=٦5😀"), 5);
}

TEST(BlockTimeText, ACanonicalLineGetsTheValueWithoutItsLastCharacter)
{
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 600s\"", "900s"), "TIMEOUT=\"timeout 900s\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 600s\"", "900"), "TIMEOUT=\"timeout 90s\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 600s\"", "0s"), "TIMEOUT=\"timeout 0s\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 600s\"", "s"), "TIMEOUT=\"timeout s\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 600s\"", ""), "TIMEOUT=\"timeout s\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 600s\"", "-2s"), "TIMEOUT=\"timeout -2s\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 600s\"", "a %1 \\1 bs"),
              "TIMEOUT=\"timeout a %1 \\1 bs\"");
}

TEST(BlockTimeText, TheRemovedLastCharacterIsOneUtf16Unit)
{
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 600s\"", "9😀"),
              QString("TIMEOUT=\"timeout 9") + QChar(0xd83d) + "s\"");
}

TEST(BlockTimeText, TextAroundTheCanonicalFormIsDropped)
{
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 600s\" # ten minutes", "900s"),
              "TIMEOUT=\"timeout 900s\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=TIMEOUT=\"timeout 6s\"6s", "900s"),
              "TIMEOUT=\"timeout 900s\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 1s\" TIMEOUT=\"timeout 2s\"", "9s"),
              "TIMEOUT=\"timeout 9s\"");
}

TEST(BlockTimeText, MinusOneEmptiesAnyValue)
{
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=\"timeout 600s\"", "-1"), "TIMEOUT=");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=none", "-1"), "TIMEOUT=");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=  ", "-1"), "TIMEOUT=");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=a=b", "-1"), "TIMEOUT=");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=", "-1"), "TIMEOUT=");
}

TEST(BlockTimeText, AnEmptyValueIsReplacedByTheWholeNewValue)
{
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=", "600s"), "TIMEOUT=\"timeout 600s\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=", "900"), "TIMEOUT=\"timeout 900\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT= \t ", "600s"), "TIMEOUT=\"timeout 600s\"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=", ""), "TIMEOUT=\"timeout \"");
    EXPECT_EQ(rewriteTimeoutLine("TIMEOUT=", "%1 %2"), "TIMEOUT=\"timeout %1 %2\"");
}

TEST(BlockTimeText, ALineOfAnotherFormStaysUnchanged)
{
    for (const QString line :
         {"TIMEOUT=600", "TIMEOUT='timeout 600s'", "TIMEOUT=\"timeout 600\"",
          "TIMEOUT=\"Timeout 600s\"", "TIMEOUT=\"timeout  600s\"", "TIMEOUT= \"timeout 600s\"",
          "TIMEOUT=\"timeout s\"", "TIMEOUT=\"timeout ٦s\"", "TIMEOUT", ""}) {
        EXPECT_EQ(rewriteTimeoutLine(line, "900s"), line);
    }
}

} // namespace
