// SPDX-License-Identifier: MIT
#include "services/service_names.h"
#include "support/message_log.h"

#include <QRegularExpression>

#include <gmock/gmock.h>

namespace {

using testing::UnorderedElementsAreArray;

const QStringList allowed{"halvex-research",
                          "halvex-rootcheck",
                          "halvex-logscan",
                          "halvex-ebpf",
                          "halvex-intervention",
                          "norva-ai-net-detect",
                          "norva-ai-dga-detect",
                          "halvex.net.ai",
                          "norva.ai.dga.detect",
                          "norva-ai-ransom-detect",
                          "norva-ai-cryptojacking-detect"};

class ServiceNames : public testing::Test
{
protected:
    /// Expects that @p names is refused with one warning. The warning lists exactly @p invalid, in
    /// the format of Qt's debug stream, and then all allowed names in any order.
    void expectRefused(const QString &names, const QString &invalid)
    {
        const MessageLog each;
        EXPECT_FALSE(halvex::checkServiceNames(names)) << qPrintable(names);
        ASSERT_EQ(each.messages().size(), 1);
        const QString message = each.messages().first();
        const QString beginning =
            "warning: Invalid service(s) found: (" + invalid + ")  - allowed services are: (";
        ASSERT_TRUE(message.startsWith(beginning) && message.endsWith(')')) << qPrintable(message);
        QStringList listed;
        for (const QString &item : message.mid(beginning.size()).chopped(1).split(", ")) {
            EXPECT_TRUE(item.startsWith('"') && item.endsWith('"')) << qPrintable(item);
            listed << item.mid(1).chopped(1);
        }
        EXPECT_THAT(listed, UnorderedElementsAreArray(allowed));
    }

    MessageLog log;
};

TEST_F(ServiceNames, EachServiceOfTheSuiteIsAllowedInSilence)
{
    for (const QString &name : allowed) {
        EXPECT_TRUE(halvex::checkServiceNames(name)) << qPrintable(name);
    }
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceNames, AllServicesTogetherAreAllowed)
{
    EXPECT_TRUE(halvex::checkServiceNames(allowed.join(' ')));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceNames, AnEmptyTextIsRefused)
{
    EXPECT_FALSE(halvex::checkServiceNames(""));
    EXPECT_FALSE(halvex::checkServiceNames(QString()));
    EXPECT_EQ(log.messages(),
              (QStringList{"warning: Empty service name", "warning: Empty service name"}));
}

TEST_F(ServiceNames, BlanksAloneAreRefused)
{
    EXPECT_FALSE(halvex::checkServiceNames("   "));
    EXPECT_EQ(log.messages(), QStringList{"warning: Empty service name"});
}

TEST_F(ServiceNames, TheNumberOfBlanksBetweenAndAroundNamesDoesNotMatter)
{
    EXPECT_TRUE(halvex::checkServiceNames("halvex-ebpf halvex-logscan"));
    EXPECT_TRUE(halvex::checkServiceNames("halvex-ebpf  halvex-logscan"));
    EXPECT_TRUE(halvex::checkServiceNames("  halvex-ebpf   halvex-logscan "));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceNames, OtherWhiteSpaceAroundANameIsIgnored)
{
    EXPECT_TRUE(halvex::checkServiceNames("halvex-ebpf\n"));
    EXPECT_TRUE(halvex::checkServiceNames("\thalvex-ebpf\r\n halvex-logscan\v"));
    EXPECT_TRUE(halvex::checkServiceNames(QString("halvex-ebpf") + QChar(0x3000)));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceNames, OnlyABlankSeparatesNames)
{
    expectRefused("halvex-ebpf\thalvex-logscan", R"("halvex-ebpf\thalvex-logscan")");
    expectRefused("halvex-ebpf\nhalvex-logscan", R"("halvex-ebpf\nhalvex-logscan")");
}

TEST_F(ServiceNames, WhiteSpaceAloneIsAnInvalidName)
{
    expectRefused("\t", R"("\t")");
}

TEST_F(ServiceNames, AnInvalidNameIsListedWithItsWhiteSpace)
{
    expectRefused("sshd\n", R"("sshd\n")");
}

TEST_F(ServiceNames, OnlyTheInvalidNamesAreListedInTheirOrder)
{
    expectRefused("sshd halvex-ebpf  cron halvex-logscan sshd", R"("sshd", "cron", "sshd")");
}

TEST_F(ServiceNames, SimilarNamesAreRefused)
{
    expectRefused("HALVEX-EBPF", R"("HALVEX-EBPF")");
    expectRefused("halvex-net-ai", R"("halvex-net-ai")");
    expectRefused("halvex-ebpf.service", R"("halvex-ebpf.service")");
    expectRefused("halvex-ebp", R"("halvex-ebp")");
    expectRefused("halvex-*", R"("halvex-*")");
    expectRefused("--now", R"("--now")");
    expectRefused("halvex-ebpf;reboot", R"("halvex-ebpf;reboot")");
}

} // namespace
