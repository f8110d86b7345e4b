// SPDX-License-Identifier: MIT
#include "packages/package_list.h"
#include "support/message_log.h"
#include "support/printing.h"

#include <gmock/gmock.h>

namespace {

using testing::UnorderedElementsAre;

/// The text before the allow-list in the warning about a refusal. The order of the list itself is
/// not fixed.
constexpr const char *allowedPart = " . Allowed packages are: (";

class PackageList : public testing::Test
{
protected:
    /// Expects one message, the refusal. It shows @p invalid as the list of invalid entries, and
    /// then all allowed packages in any order.
    void expectRefusalOf(const QString &invalid) const
    {
        ASSERT_EQ(log.messages().size(), 1);
        QString text = log.messages().first();
        const QString head =
            "warning: Installation rejected: invalid package(s) found: " + invalid + allowedPart;
        ASSERT_TRUE(text.startsWith(head) && text.endsWith(')')) << qPrintable(text);
        text.chop(1);
        EXPECT_THAT(text.mid(head.size()).split(", "),
                    UnorderedElementsAre("\"halvex-net-ai\"", "\"halvex.net.ai\"",
                                         "\"norva.ai.dga.detect\""));
    }

    MessageLog log;
};

TEST_F(PackageList, EachOfTheSuitesPackagesMayBeInstalled)
{
    EXPECT_TRUE(halvex::validatePackages({"halvex-net-ai"}));
    EXPECT_TRUE(halvex::validatePackages({"halvex.net.ai"}));
    EXPECT_TRUE(halvex::validatePackages({"norva.ai.dga.detect"}));
    EXPECT_TRUE(
        halvex::validatePackages({"norva.ai.dga.detect", "halvex-net-ai", "halvex.net.ai"}));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(PackageList, AnEmptyListIsRefused)
{
    EXPECT_FALSE(halvex::validatePackages({}));
    EXPECT_EQ(log.messages(), QStringList{"warning: No packages to install"});
}

TEST_F(PackageList, WhiteSpaceAroundANameIsIgnored)
{
    EXPECT_TRUE(halvex::validatePackages({" halvex.net.ai ", "\t\nhalvex-net-ai\r\n"}));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(PackageList, ARepeatedNameIsAccepted)
{
    EXPECT_TRUE(halvex::validatePackages({"halvex-net-ai", "halvex-net-ai", " halvex-net-ai"}));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(PackageList, SimilarNamesAreRefused)
{
    for (const char *entry :
         {"Halvex.net.ai", "HALVEX-NET-AI", "/opt/halvex.net.ai.deb", "halvex.net.ai.deb",
          "./halvex-net-ai", "halvex-net-ai_1.0_amd64.deb", "halvex-net-ai=1.0", "halvex net ai",
          "halvex-net-ai-extra", "alvex-net-ai", "halvex", "halvex-net-ai halvex.net.ai"}) {
        const MessageLog each;
        EXPECT_FALSE(halvex::validatePackages({entry})) << entry;
        ASSERT_EQ(each.messages().size(), 1) << entry;
        EXPECT_TRUE(each.messages().first().startsWith(
            QString("warning: Installation rejected: invalid package(s) found: (\"%1\")")
                .arg(entry)))
            << qPrintable(each.messages().first());
    }
}

TEST_F(PackageList, EmptyAndBlankEntriesAreRefused)
{
    EXPECT_FALSE(halvex::validatePackages({"", " "}));
    expectRefusalOf(R"(("", " "))");
}

TEST_F(PackageList, AListWithOneUnknownEntryIsRefusedAndOnlyThisEntryIsNamedWithItsBlanks)
{
    EXPECT_FALSE(halvex::validatePackages({"halvex-net-ai", "  bash ", "norva.ai.dga.detect"}));
    expectRefusalOf(R"(("  bash "))");
}

TEST_F(PackageList, EveryUnknownEntryIsNamedInOrder)
{
    EXPECT_FALSE(halvex::validatePackages({"zsh", "halvex-net-ai", "bash", "zsh"}));
    expectRefusalOf(R"(("zsh", "bash", "zsh"))");
}

} // namespace
