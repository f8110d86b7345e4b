// SPDX-License-Identifier: MIT
#include "security/caller_environment.h"
#include "support/printing.h"

#include <gtest/gtest.h>

namespace {

/// Whether the environment @p block contains a forbidden name.
bool isForbidden(const QByteArray &block)
{
    return halvex::holdsForbiddenName(
        std::string_view(block.constData(), std::size_t(block.size())));
}

QByteArray block(const char *text, int size)
{
    return {text, size};
}

TEST(CallerEnvironment, EntriesEndAtEachNulAndLineFeed)
{
    EXPECT_EQ(halvex::environmentEntries(block("A=1\0B=2\nC=3\0\0", 13)),
              (QStringList{"A=1", "B=2", "C=3", "", ""}));
}

TEST(CallerEnvironment, AnEmptyEnvironmentIsOneEmptyEntry)
{
    EXPECT_EQ(halvex::environmentEntries({}), QStringList{""});
    EXPECT_FALSE(isForbidden({}));
}

TEST(CallerEnvironment, EachForbiddenNameIsFoundWithAndWithoutAValue)
{
    for (const char *name : {"LD_PRELOAD", "LD_LIBRARY_PATH", "LD_AUDIT", "BASH_ENV", "ENV",
                             "PYTHONPATH", "PERL5OPT"}) {
        EXPECT_TRUE(isForbidden(QByteArray("A=1\n") + name + "=x\nB=2")) << name;
        EXPECT_TRUE(isForbidden(QByteArray(name) + "=")) << name;
        EXPECT_TRUE(isForbidden(QByteArray(name) + "==")) << name;
    }
}

TEST(CallerEnvironment, SimilarNamesAreNotForbidden)
{
    for (const char *entry :
         {"LD_PRELOADX=1", "XLD_PRELOAD=1", "ld_preload=1", "LD_PRELOAD =1", " LD_PRELOAD=1",
          "LD_PRELOAD", "ENVIRONMENT=1", "A=LD_PRELOAD=1", "LD_PRELOAD_=1", "=LD_PRELOAD=1",
          "PYTHONPATH2=1", "LD_DEBUG=all", "PERL5LIB=/x", "="}) {
        EXPECT_FALSE(isForbidden(entry)) << entry;
    }
}

TEST(CallerEnvironment, ALineFeedInAValueBeginsANewEntry)
{
    EXPECT_TRUE(isForbidden("PS1=hello\nENV=/tmp/x"));
    EXPECT_FALSE(isForbidden("PS1=hello\n ENV=/tmp/x"));
}

TEST(CallerEnvironment, AByteOrderMarkDoesNotHideALaterName)
{
    for (const QByteArray &mark :
         {block("\xff\xfe", 2), block("\xfe\xff", 2), block("\xff\xfe\0\0", 4),
          block("\0\0\xfe\xff", 4), block("\xef\xbb\xbf", 3)}) {
        EXPECT_TRUE(isForbidden(mark + "A=1" + '\0' + "LD_PRELOAD=x")) << mark.toHex().constData();
    }
}

TEST(CallerEnvironment, AByteOrderMarkIsPartOfTheNameAfterIt)
{
    EXPECT_FALSE(isForbidden("\xef\xbb\xbfLD_PRELOAD=x"));
}

TEST(CallerEnvironment, ABrokenCharacterDoesNotHideASeparator)
{
    for (const char *broken :
         {"\xc3", "\xe2\x82", "\xf0\x9f\x98", "\x80", "\xff", "\xed\xa0\x80"}) {
        EXPECT_TRUE(isForbidden(QByteArray("A=") + broken + '\0' + "LD_PRELOAD=x"));
        EXPECT_TRUE(isForbidden(QByteArray("A=") + broken + "\nLD_PRELOAD=x"));
    }
}

TEST(CallerEnvironment, AValueInUtf8IsRead)
{
    EXPECT_EQ(halvex::environmentEntries("NAME=Zo\xc3\xab"), QStringList{QString("NAME=Zoë")});
}

} // namespace
