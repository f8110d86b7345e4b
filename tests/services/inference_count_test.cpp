// SPDX-License-Identifier: MIT
//
// The number of inferences, which a script of the engine prints.
#include "services/ai_engine.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/stand_in.h"
#include "util/command_runner.h"

#include <QFile>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

class InferenceCount : public testing::Test
{
protected:
    /// Makes python3 a shell script that runs @p body instead of the engine's own script.
    static void scriptDoes(const QByteArray &body)
    {
        host::writeFile("/usr/lib/halvex_net_ai/getCount.py", "print(1)\n");
        QFile::remove("/usr/bin/python3");
        host::writeStandIn("/usr/bin/python3", body);
    }

    QString count = "old";
    MessageLog log;
};

TEST_F(InferenceCount, WithoutAScriptTheCallFailsAndTheCountIs0)
{
    EXPECT_EQ(halvex::getAiInferencesCount(count), -1);
    EXPECT_EQ(count, "0");
    EXPECT_TRUE(halvex::commandTable.empty());
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(InferenceCount, TheScriptIsRunByItsInterpreter)
{
    scriptDoes("echo 42\n");
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "42");
    EXPECT_EQ(host::standInCalls(), QStringList{"python3 </usr/lib/halvex_net_ai/getCount.py>"});
    EXPECT_THAT(
        halvex::commandTable,
        ElementsAre(std::pair(7, QString("/usr/bin/python3 /usr/lib/halvex_net_ai/getCount.py"))));
}

TEST_F(InferenceCount, ARealPythonScriptIsRun)
{
    host::writeFile("/usr/lib/halvex_net_ai/getCount.py", "print(40 + 2)\n");
    ASSERT_TRUE(QFile::exists("/usr/bin/python3"));
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "42");
}

TEST_F(InferenceCount, AnythingTheScriptPrintsIsTheCount)
{
    scriptDoes("printf 'many\\nmore\\n'\n");
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "many\nmore");
}

TEST_F(InferenceCount, OnlyOneTrailingLineFeedIsRemoved)
{
    scriptDoes("printf '42\\n\\n'\n");
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "42\n");
    scriptDoes("printf '42\\r\\n'\n");
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "42\r");
    scriptDoes("printf '\\n'\n");
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "");
    scriptDoes("printf 42\n");
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "42");
}

TEST_F(InferenceCount, AScriptThatPrintsNothingGivesAnEmptyCount)
{
    scriptDoes("true\n");
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "");
}

TEST_F(InferenceCount, AScriptThatFailsGivesTheCount0)
{
    scriptDoes("echo 42; echo broken >&2; exit 1\n");
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "0");
    EXPECT_EQ(log.messages(),
              QStringList{R"(debug: "Command failed (exit code 1): /usr/bin/python3 )"
                          R"(/usr/lib/halvex_net_ai/getCount.py\nError: broken\n")"});
}

TEST_F(InferenceCount, AScriptWithoutItsInterpreterGivesTheCount0)
{
    scriptDoes("echo 42\n");
    ASSERT_TRUE(QFile::remove("/usr/bin/python3"));
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "0");
    EXPECT_EQ(log.messages(),
              QStringList{R"(debug: "Command failed (exit code 127): /usr/bin/python3 )"
                          R"(/usr/lib/halvex_net_ai/getCount.py\n)"
                          R"(Error: /bin/sh: 1: /usr/bin/python3: not found\n")"});
}

TEST_F(InferenceCount, AScriptWithoutAShellGivesTheCount0)
{
    scriptDoes("echo 42\n");
    ASSERT_TRUE(QFile::remove("/bin/sh"));
    EXPECT_EQ(halvex::getAiInferencesCount(count), 0);
    EXPECT_EQ(count, "0");
    EXPECT_EQ(log.messages(), QStringList());
}

} // namespace
