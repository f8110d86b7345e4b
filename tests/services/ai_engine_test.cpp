// SPDX-License-Identifier: MIT
#include "services/ai_engine.h"
#include "services/service_names.h"
#include "services/test_clock.h"
#include "support/command.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/stand_in.h"
#include "support/tls_server.h"
#include "support/wait_for.h"
#include "util/command_runner.h"

#include <QFile>
#include <QProcess>

#include <gmock/gmock.h>

#include <climits>
#include <map>

namespace {

using halvex::switchEngine;
using testing::ElementsAre;

constexpr const char *settingsPath = "/etc/engine.yaml";
constexpr const char *pellmar = "/usr/bin/pellmar";

const QString runCall = "pellmar <run> <halvex.net.ai>";
const QString killCall = "pellmar <kill> <halvex.net.ai>";

class Engine : public testing::Test
{
protected:
    void SetUp() override { host::writeStandIn(pellmar, "echo done\n"); }

    static void setLoopbackUp()
    {
        ASSERT_EQ(host::run({"ip", "link", "set", "lo", "up"}).exitCode, 0);
    }

    /// Writes a settings file in which the key dga_detect, which may require the internet, has the
    /// YAML value @p value.
    static void setDgaDetect(const QByteArray &value)
    {
        host::writeFile(settingsPath, "dga_detect: " + value + "\n");
    }

    MessageLog log;
};

TEST_F(Engine, ItsCommandsReplaceEntries1To7OfTheCommandTable)
{
    host::writeFile("/usr/lib/halvex_net_ai/getCount.py", "print(1)\n");
    for (int number = 0; number <= 8; ++number) {
        halvex::commandTable[number] = "echo older";
    }
    int state = INT_MIN;
    QString text;
    halvex::queryEngineState(state);
    EXPECT_EQ(switchEngine(2, settingsPath), -1);
    halvex::findEngineCountScript(text);
    halvex::findEngineConfigPath(text);
    EXPECT_EQ(halvex::getAiInferencesCount(text), 0);
    const std::map<int, QString> expected{
        {0, "echo older"},
        {1, "pellmar list | grep halvex.net.ai"},
        {2, "ps -aux | grep halvex_inference"},
        {3, "pellmar run halvex.net.ai &"},
        {4, "pellmar kill halvex.net.ai"},
        {5, "pellmar info -L halvex.net.ai | grep getCount"},
        {6, "pellmar info -L halvex.net.ai | grep config.yaml"},
        {7, "/usr/bin/python3 /usr/lib/halvex_net_ai/getCount.py"},
        {8, "echo older"},
    };
    EXPECT_EQ(halvex::commandTable, expected);
}

using EngineSwitch = Engine;

TEST_F(EngineSwitch, TheEnginesNameAndTheSettingsKeyAreThoseOfTheSuite)
{
    EXPECT_EQ(halvex::netAiAppName, "halvex.net.ai");
    EXPECT_EQ(halvex::dgaDetectKey, "dga_detect");
}

TEST_F(EngineSwitch, OffKillsTheEngineWithoutCheckingTheNetwork)
{
    setDgaDetect(R"("\x01")");
    EXPECT_EQ(switchEngine(0, settingsPath), 0);
    EXPECT_EQ(host::standInCalls(), QStringList{killCall});
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineSwitch, OffFailsWhenThePackageToolFails)
{
    host::writeStandIn(pellmar, "echo no >&2; exit 2\n");
    EXPECT_EQ(switchEngine(0, settingsPath), -1);
    EXPECT_EQ(log.messages(), QStringList{R"(debug: "Command failed (exit code 2): )"
                                          R"(pellmar kill halvex.net.ai\nError: no\n")"});
}

TEST_F(EngineSwitch, OffFailsWhenThePackageToolPrintsTheWordFailed)
{
    host::writeStandIn(pellmar, "echo 'to kill it has failed.'\n");
    EXPECT_EQ(switchEngine(0, settingsPath), -1);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineSwitch, OffIgnoresTheWordFailedInOtherCaseOrOnStandardError)
{
    host::writeStandIn(pellmar, "echo 'Failed FAILED fail'; echo failed >&2\n");
    EXPECT_EQ(switchEngine(0, settingsPath), 0);
}

TEST_F(EngineSwitch, AnyOtherStatusFailsAndRunsNothing)
{
    setLoopbackUp();
    EXPECT_EQ(switchEngine(2, settingsPath), -1);
    EXPECT_EQ(switchEngine(UINT_MAX, settingsPath), -1);
    EXPECT_EQ(host::standInCalls(), QStringList());
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineSwitch, OnWithoutAnActiveInterfaceFailsWithoutAProbe)
{
    setDgaDetect(R"("\x01")");
    EXPECT_EQ(switchEngine(1, settingsPath), -2);
    EXPECT_EQ(host::standInCalls(), QStringList());
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineSwitch, OnStoresBothCommandsEvenIfItFails)
{
    EXPECT_EQ(switchEngine(1, settingsPath), -2);
    EXPECT_THAT(halvex::commandTable,
                ElementsAre(std::pair(3, QString("pellmar run halvex.net.ai &")),
                            std::pair(4, QString("pellmar kill halvex.net.ai"))));
}

TEST_F(EngineSwitch, OnRunsTheEngine)
{
    setLoopbackUp();
    EXPECT_EQ(switchEngine(1, settingsPath), 0);
    EXPECT_EQ(host::awaitStandInCalls(1), QStringList{runCall});
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineSwitch, OnDoesNotWaitForTheEngineToEnd)
{
    setLoopbackUp();
    host::writeStandIn(pellmar, "exec sleep 1000\n");
    EXPECT_EQ(switchEngine(1, settingsPath), 0);
}

TEST_F(EngineSwitch, OnFailsWhenThePackageToolPrintsTheWordFailedEvenIfTheShellExitsWith0)
{
    setLoopbackUp();
    host::writeStandIn(pellmar, "echo one; echo 'the start failed'; exit 1\n");
    EXPECT_EQ(switchEngine(1, settingsPath), -1);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineSwitch, OnFailsWithoutAPackageToolEvenIfTheShellExitsWith0)
{
    setLoopbackUp();
    ASSERT_TRUE(QFile::remove(pellmar));
    EXPECT_EQ(switchEngine(1, settingsPath), -1);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineSwitch, FailsWithoutAShell)
{
    setLoopbackUp();
    ASSERT_TRUE(QFile::remove("/bin/sh"));
    EXPECT_EQ(switchEngine(1, settingsPath), -1);
    EXPECT_EQ(switchEngine(0, settingsPath), -1);
    EXPECT_EQ(host::standInCalls(), QStringList());
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineSwitch, OffFailsWithoutAPackageTool)
{
    ASSERT_TRUE(QFile::remove(pellmar));
    EXPECT_EQ(switchEngine(0, settingsPath), -1);
    EXPECT_EQ(log.messages(), QStringList{R"(debug: "Command failed (exit code 127): )"
                                          R"(pellmar kill halvex.net.ai\n)"
                                          R"(Error: /bin/sh: 1: pellmar: not found\n")"});
}

TEST_F(EngineSwitch, ThePackageToolIsFoundThroughPath)
{
    host::writeStandIn("/usr/local/bin/pellmar", "echo failed\n");
    qputenv("PATH", "/usr/local/bin:/usr/bin");
    EXPECT_EQ(switchEngine(0, settingsPath), -1);
}

TEST_F(EngineSwitch, OnProbesTheInternetOnlyIfTheSettingIsTheCharacterWithCode1)
{
    setLoopbackUp();
    int calls = 0;
    for (const char *value : {"1", "true", R"("1")", R"("\x01\x01")", R"("\x01 ")", R"("\x02")",
                              R"("")", "[1]", "{a: 1}", "\"open"}) {
        setDgaDetect(value);
        EXPECT_EQ(switchEngine(1, settingsPath), 0) << value;
        ++calls;
    }
    EXPECT_EQ(host::awaitStandInCalls(calls).size(), calls);
}

TEST_F(EngineSwitch, OnFailsWhenTheInternetIsRequiredButNotReached)
{
    setLoopbackUp();
    setDgaDetect(R"("\x01")");
    EXPECT_EQ(switchEngine(1, settingsPath), -3);
    EXPECT_EQ(host::standInCalls(), QStringList());
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineSwitch, OnRunsTheEngineWhenTheInternetIsRequiredAndReached)
{
    const TestClock clock(TestClock::Pace::Slow);
    TlsServer server;
    setDgaDetect(R"("\x01")");
    EXPECT_EQ(switchEngine(1, settingsPath), 0);
    EXPECT_EQ(server.requests, 1);
    EXPECT_EQ(host::awaitStandInCalls(1), QStringList{runCall});
}

TEST_F(EngineSwitch, ASecondCallThatSwitchesOnIsServedWhileTheFirstCallWaits)
{
    const TestClock clock(TestClock::Pace::Slow);
    TlsServer server;
    setDgaDetect(R"("\x01")");
    int second = INT_MIN;
    server.answer = [&] {
        if (server.requests == 1) {
            server.callSoon([&] { second = switchEngine(1, settingsPath); });
        }
        return TlsServer::page();
    };
    EXPECT_EQ(switchEngine(1, settingsPath), 0);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(host::awaitStandInCalls(2), (QStringList{runCall, runCall}));
}

TEST_F(EngineSwitch, EachOfTwoCallersGetsItsOwnAnswer)
{
    const TestClock clock(TestClock::Pace::Slow);
    TlsServer server;
    setDgaDetect(R"("\x01")");
    int second = INT_MIN;
    server.answer = [&] {
        if (server.requests > 1) {
            return QByteArray();
        }
        server.callSoon([&] { second = switchEngine(1, settingsPath); });
        return TlsServer::page();
    };
    EXPECT_EQ(switchEngine(1, settingsPath), 0);
    EXPECT_EQ(second, -3);
    EXPECT_EQ(host::awaitStandInCalls(1), QStringList{runCall});
}

TEST_F(EngineSwitch, OtherCallsAreServedWhileACallThatSwitchesOnWaits)
{
    const TestClock clock(TestClock::Pace::Slow);
    TlsServer server;
    setDgaDetect(R"("\x01")");
    int off = INT_MIN;
    int state = INT_MIN;
    server.answer = [&] {
        server.callSoon([&] {
            off = switchEngine(0, settingsPath);
            halvex::queryEngineState(state);
        });
        return TlsServer::page();
    };
    EXPECT_EQ(switchEngine(1, settingsPath), 0);
    EXPECT_EQ(off, 0);
    EXPECT_EQ(state, 2);
    EXPECT_EQ(host::awaitStandInCalls(3), (QStringList{killCall, "pellmar <list>", runCall}));
}

class EngineState : public Engine
{
protected:
    static int state()
    {
        int state = INT_MIN;
        halvex::queryEngineState(state);
        return state;
    }
};

constexpr const char *processList =
    "USER PID COMMAND\n"
    "root 7 /opt/apps/halvex.net.ai/files/bin/halvex_inference --serve\n"
    "root 9 grep halvex_inference\n";

TEST_F(EngineState, AnInstalledEngineWithItsProcessRuns)
{
    host::writeStandIn(pellmar, "echo 'com.example 1.0'; echo 'halvex.net.ai 2.1'\n");
    host::writeFile("/run/processes", processList);
    host::writeStandIn("/usr/bin/ps", "cat /run/processes\n");
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(host::standInCalls(), (QStringList{"pellmar <list>", "ps <-aux>"}));
    EXPECT_THAT(halvex::commandTable,
                ElementsAre(std::pair(1, QString("pellmar list | grep halvex.net.ai")),
                            std::pair(2, QString("ps -aux | grep halvex_inference"))));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineState, AnInstalledEngineWithoutItsProcessDoesNotRun)
{
    host::writeStandIn(pellmar, "echo halvex.net.ai\n");
    host::writeStandIn("/usr/bin/ps", "echo 'root 9 grep halvex_inference'\n");
    EXPECT_EQ(state(), 0);
    host::writeStandIn("/usr/bin/ps", "echo '/usr/bin/halvex_inference'\n");
    EXPECT_EQ(state(), 0);
    host::writeStandIn("/usr/bin/ps", "echo /opt/apps/HALVEX.net.ai/files/bin/halvex_inference\n");
    EXPECT_EQ(state(), 0);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineState, TheSearchCommandInTheRealProcessListIsNotTakenForTheEngine)
{
    host::writeStandIn(pellmar, "echo halvex.net.ai\n");
    EXPECT_EQ(state(), 0);
}

TEST_F(EngineState, TheRealProcessListShowsARunningEngine)
{
    host::writeStandIn(pellmar, "echo halvex.net.ai\n");
    const QString engine = "/opt/apps/halvex.net.ai/files/bin/halvex_inference";
    host::writeFile(engine, host::readFile("/usr/bin/sleep"), 0755);
    QProcess process;
    process.start(engine, {"1000"});
    ASSERT_TRUE(process.waitForStarted(patienceMs));
    EXPECT_EQ(state(), 1);
    process.kill();
    process.waitForFinished();
}

TEST_F(EngineState, AFailedProcessListMeansThatTheEngineDoesNotRun)
{
    host::writeStandIn(pellmar, "echo halvex.net.ai\n");
    host::writeStandIn("/usr/bin/ps", "exit 1\n");
    EXPECT_EQ(state(), 0);
    EXPECT_EQ(log.messages(), QStringList{R"(debug: "Command failed (exit code 1): )"
                                          R"(ps -aux | grep halvex_inference\nError: ")"});
}

TEST_F(EngineState, AnEngineThatIsNotListedIsNotInstalled)
{
    host::writeStandIn("/usr/bin/ps", "echo /opt/apps/halvex.net.ai/files/bin/halvex_inference\n");
    EXPECT_EQ(state(), 2);
    EXPECT_EQ(host::standInCalls(), QStringList{"pellmar <list>"});
    EXPECT_EQ(log.messages(), QStringList{R"(debug: "Command failed (exit code 1): )"
                                          R"(pellmar list | grep halvex.net.ai\nError: ")"});
}

TEST_F(EngineState, APackageThatOnlyThePatternMatchesIsNotTheEngine)
{
    // To grep, a dot in the pattern means any character. The daemon then looks for the name itself,
    // with its dots.
    host::writeStandIn(pellmar, "echo halvex-net-ai\n");
    EXPECT_EQ(state(), 2);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineState, ToolsThatPrintTheEngineAndThenFailAreBelieved)
{
    // The exit status of a pipeline is that of its last command.
    host::writeStandIn(pellmar, "echo halvex.net.ai; exit 1\n");
    host::writeStandIn("/usr/bin/ps",
                       "echo /opt/apps/halvex.net.ai/files/bin/halvex_inference; exit 1\n");
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineState, WithoutAPackageToolTheEngineIsNotInstalled)
{
    ASSERT_TRUE(QFile::remove(pellmar));
    EXPECT_EQ(state(), 2);
    EXPECT_EQ(log.messages(), QStringList{R"(debug: "Command failed (exit code 1): )"
                                          R"(pellmar list | grep halvex.net.ai\n)"
                                          R"(Error: /bin/sh: 1: pellmar: not found\n")"});
}

class EngineFiles : public Engine
{
protected:
    QString path = "old";
};

TEST_F(EngineFiles, TheCountScriptIsFoundInTheFileList)
{
    host::writeStandIn(pellmar, "echo /opt/apps/halvex.net.ai/files/getCount.py\n"
                                "echo /opt/apps/halvex.net.ai/files/config.yaml\n");
    halvex::findEngineCountScript(path);
    EXPECT_EQ(path, "/opt/apps/halvex.net.ai/files/getCount.py");
    EXPECT_EQ(host::standInCalls(), QStringList{"pellmar <info> <-L> <halvex.net.ai>"});
    EXPECT_THAT(
        halvex::commandTable,
        ElementsAre(std::pair(5, QString("pellmar info -L halvex.net.ai | grep getCount"))));
}

TEST_F(EngineFiles, TheSettingsFileIsFoundInTheFileList)
{
    host::writeStandIn(pellmar, "echo /opt/apps/halvex.net.ai/files/getCount.py\n"
                                "echo /opt/apps/halvex.net.ai/files/config.yaml\n");
    halvex::findEngineConfigPath(path);
    EXPECT_EQ(path, "/opt/apps/halvex.net.ai/files/config.yaml");
    EXPECT_EQ(host::standInCalls(), QStringList{"pellmar <info> <-L> <halvex.net.ai>"});
    EXPECT_THAT(
        halvex::commandTable,
        ElementsAre(std::pair(6, QString("pellmar info -L halvex.net.ai | grep config.yaml"))));
}

TEST_F(EngineFiles, AFileListWithoutTheFilesGivesEmptyPaths)
{
    halvex::findEngineCountScript(path);
    EXPECT_EQ(path, "");
    path = "old";
    halvex::findEngineConfigPath(path);
    EXPECT_EQ(path, "");
    EXPECT_EQ(log.messages(),
              (QStringList{R"(debug: "Command failed (exit code 1): )"
                           R"(pellmar info -L halvex.net.ai | grep getCount\nError: ")",
                           R"(debug: "Command failed (exit code 1): )"
                           R"(pellmar info -L halvex.net.ai | grep config.yaml\nError: ")"}));
}

TEST_F(EngineFiles, AFileOfAnotherPackageIsIgnored)
{
    host::writeStandIn(pellmar, "echo /opt/apps/halvex-net-ai/getCount.py\n"
                                "echo /opt/apps/HALVEX.NET.AI/config.yaml\n");
    halvex::findEngineCountScript(path);
    EXPECT_EQ(path, "");
    path = "old";
    halvex::findEngineConfigPath(path);
    EXPECT_EQ(path, "");
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(EngineFiles, SeveralMatchingLinesAreReturnedTogether)
{
    host::writeStandIn(pellmar, "echo /halvex.net.ai/getCount.py; echo /x/getCount.pyc\n");
    halvex::findEngineCountScript(path);
    EXPECT_EQ(path, "/halvex.net.ai/getCount.py\n/x/getCount.pyc");
}

TEST_F(EngineFiles, AMissingPackageToolGivesEmptyPaths)
{
    ASSERT_TRUE(QFile::remove(pellmar));
    halvex::findEngineCountScript(path);
    EXPECT_EQ(path, "");
    path = "old";
    halvex::findEngineConfigPath(path);
    EXPECT_EQ(path, "");
    EXPECT_EQ(log.messages(), (QStringList{R"(debug: "Command failed (exit code 1): )"
                                           R"(pellmar info -L halvex.net.ai | grep getCount\n)"
                                           R"(Error: /bin/sh: 1: pellmar: not found\n")",
                                           R"(debug: "Command failed (exit code 1): )"
                                           R"(pellmar info -L halvex.net.ai | grep config.yaml\n)"
                                           R"(Error: /bin/sh: 1: pellmar: not found\n")"}));
}

} // namespace
