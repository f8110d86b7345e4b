// SPDX-License-Identifier: MIT
#include "support/command.h"
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/process_resources.h"
#include "support/settings_paths.h"
#include "support/stand_in.h"
#include "support/tls_server.h"

#include <QCoreApplication>
#include <QFile>

#include <array>

namespace {

using testing::Contains;
using testing::Not;

const Caller anyone{user::ordinary};
const Caller administrator{user::wheelMember};
const QString started = "dbus service start ";
const QString allowedNames = " - allowed services are: ";

/// Has stand-ins for the programs that the methods about services run.
class Services : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        host::writeFile("/run/systemctl.output", "active\n");
        host::writeStandIn("/usr/bin/systemctl", "cat /run/systemctl.output\n");
        host::writeStandIn("/usr/bin/pellmar", "echo halvex.net.ai\n");
        host::writeStandIn("/usr/bin/ps", "echo root grep halvex_inference\n");
    }

    static void setLoopbackUp()
    {
        ASSERT_EQ(host::run({"ip", "link", "set", "lo", "up"}).exitCode, 0);
    }

    /// Writes settings with which switching the engine on requires the internet.
    static void askForTheInternet()
    {
        host::writeFile(settings::aiPath, "dga_detect: \"\\x01\"\n");
    }

    /// Makes the daemon wait long enough for an answer from the internet, even on a slow machine.
    inline static const QStringList slowClock{
        QString("LD_PRELOAD=") + SLOW_CLOCK,
        "ASAN_OPTIONS=verify_asan_link_order=0"}; // do not require ASan to load first

    /// Starts a caller, but does not wait for the answer.
    static void startCall(QProcess &process, const Caller &caller, const QStringList &call)
    {
        const QStringList command = frontEndCommand(caller, QStringList{"--json"} + call);
        process.start(command.first(), command.mid(1));
    }

    /// Runs this process's event loop until the answer has arrived.
    static Reply awaitReply(QProcess &process)
    {
        while (process.state() != QProcess::NotRunning) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return parseReply(process.readAllStandardOutput());
    }

    int callAs(const Caller &caller, const QStringList &methodAndArguments)
    {
        const Reply reply = call(methodAndArguments.first(), methodAndArguments.mid(1), caller);
        EXPECT_EQ(reply.error, "");
        return reply.status;
    }
};

using ServiceQueries = Services;

TEST_F(ServiceQueries, AProcessListOfOneGibibyteNeedsLittleMemory)
{
    host::writeStandIn("/usr/bin/ps", "yes \"halvex_inference $(printf %4096s)\" | head -c 1G\n");
    startDaemon();
    const int peakBefore = memoryOf(daemon.processId(), "VmHWM");
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "halvex.net.ai", "0"}), 0);
    EXPECT_LT(memoryOf(daemon.processId(), "VmHWM") - peakBefore, 256 << 10);
    host::writeStandIn("/usr/bin/ps", "echo /opt/apps/halvex.net.ai/files/bin/halvex_inference\n");
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "halvex.net.ai", "0"}), 1);
}

TEST_F(ServiceQueries, AnyUsersFrontEndMayMakeAllThreeQueries)
{
    startDaemon();
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "sshd", "0"}), 1);
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "sshd", "1"}), 0);
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "sshd", "2"}), 1);
    host::writeFile("/run/systemctl.output", {});
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "sshd", "2"}), 2);
    EXPECT_EQ(host::standInCalls(),
              (QStringList{"systemctl <is-active> <sshd>", "systemctl <is-enabled> <sshd>",
                           "systemctl <status> <sshd>", "systemctl <status> <sshd>"}));
    EXPECT_EQ(daemonMessages(), QStringList{started});
}

TEST_F(ServiceQueries, AnyOtherTypeIsInvalidEvenANegativeType)
{
    startDaemon();
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "sshd", "3"}), -1);
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "sshd", "-1"}), -1);
    EXPECT_EQ(host::standInCalls(), QStringList());
    EXPECT_EQ(daemonMessages(),
              (QStringList{started, "Invalid type value.", "Invalid type value."}));
}

TEST_F(ServiceQueries, ATextThatLooksLikeAnOptionIsPassedAsAName)
{
    startDaemon();
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "--host=evil", "0"}), 1);
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "-.mount", "0"}), 1);
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "a b; c", "0"}), 1);
    EXPECT_EQ(host::standInCalls(), (QStringList{"systemctl <is-active> <--> <--host=evil>",
                                                 "systemctl <is-active> <--> <-.mount>",
                                                 "systemctl <is-active> <a b; c>"}));
}

TEST_F(ServiceQueries, TheEngineHasThreeStatesForAnyType)
{
    startDaemon();
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "halvex.net.ai", "7"}), 0);
    host::writeStandIn("/usr/bin/ps", "echo /opt/apps/halvex.net.ai/files/bin/halvex_inference\n");
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "halvex.net.ai", "-1"}), 1);
    EXPECT_EQ(daemonMessages(), QStringList{started});
    host::writeStandIn("/usr/bin/pellmar", "echo other\n");
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "halvex.net.ai", "0"}), 2);
    EXPECT_EQ(host::standInCalls(), (QStringList{"pellmar <list>", "ps <-aux>", "pellmar <list>",
                                                 "ps <-aux>", "pellmar <list>"}));
    EXPECT_EQ(daemonMessages(),
              (QStringList{started, "\"Command failed (exit code 1): "
                                    "pellmar list | grep halvex.net.ai\\nError: \""}));
}

TEST_F(ServiceQueries, WithoutSystemctlAQueryFails)
{
    ASSERT_TRUE(QFile::remove("/usr/bin/systemctl"));
    startDaemon();
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "sshd", "0"}), -1);
    EXPECT_EQ(daemonMessages(), QStringList{started});
}

using ServiceChanges = Services;

TEST_F(ServiceChanges, AnAdministratorChangesServices)
{
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex-ebpf", "1", "0"}), 0);
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex-ebpf", "0", "0"}), 0);
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex-ebpf", "1", "1"}), 0);
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex-ebpf  halvex-logscan", "0", "1"}),
              0);
    EXPECT_EQ(callAs(administrator, {"restartService", "halvex-ebpf halvex-logscan"}), 0);
    EXPECT_EQ(host::standInCalls(),
              (QStringList{"systemctl <start> <halvex-ebpf>", "systemctl <stop> <halvex-ebpf>",
                           "systemctl <enable> <halvex-ebpf>",
                           "systemctl <disable> <halvex-ebpf> <> <halvex-logscan>",
                           "systemctl <restart> <halvex-ebpf halvex-logscan>"}));
    EXPECT_EQ(daemonMessages(), QStringList{started});
}

TEST_F(ServiceChanges, AnOrdinaryUserChangesNothing)
{
    startDaemon();
    EXPECT_EQ(callAs(anyone, {"setServiceStatus", "halvex-ebpf", "1", "0"}), -999);
    EXPECT_EQ(callAs(anyone, {"setServiceStatus", "halvex.net.ai", "0", "0"}), -999);
    EXPECT_EQ(callAs(anyone, {"restartService", "halvex-ebpf"}), -999);
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(ServiceChanges, ArgumentsAreCheckedInTheirOrder)
{
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", " ", "-1", "-1"}), -1);
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex-ebpf", "-1", "-1"}), -1);
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex-ebpf", "2", "2"}), -1);
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex-ebpf", "1", "-1"}), -1);
    EXPECT_EQ(callAs(administrator, {"restartService", ""}), -1);
    EXPECT_EQ(daemonMessages(),
              (QStringList{started, "Empty service name", "Invalid service name: \" \"",
                           "Invalid status value.", "Invalid status value.", "Invalid type value.",
                           "Empty service name", "Invalid service name: \"\""}));
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(ServiceChanges, AServiceOutsideTheSuiteCannotBeChanged)
{
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex-ebpf sshd", "1", "0"}), -1);
    EXPECT_EQ(callAs(administrator, {"restartService", "--host=evil"}), -1);
    EXPECT_EQ(host::standInCalls(), QStringList());
    const QStringList messages = daemonMessages();
    ASSERT_EQ(messages.size(), 5);
    EXPECT_TRUE(messages[1].startsWith("Invalid service(s) found: (\"sshd\") " + allowedNames));
    EXPECT_EQ(messages[2], "Invalid service name: \"halvex-ebpf sshd\"");
    EXPECT_TRUE(
        messages[3].startsWith("Invalid service(s) found: (\"--host=evil\") " + allowedNames));
    EXPECT_EQ(messages[4], "Invalid service name: \"--host=evil\"");
}

TEST_F(ServiceChanges, AFailedKilledOrMissingSystemctlIsAFailure)
{
    startDaemon();
    for (const char *body : {"exit 1\n", "kill -9 $$\n"}) {
        host::writeStandIn("/usr/bin/systemctl", body);
        EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex-ebpf", "1", "0"}), -1) << body;
        EXPECT_EQ(callAs(administrator, {"restartService", "halvex-ebpf"}), -1) << body;
    }
    ASSERT_TRUE(QFile::remove("/usr/bin/systemctl"));
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex-ebpf", "1", "0"}), -1);
    EXPECT_EQ(callAs(administrator, {"restartService", "halvex-ebpf"}), -1);
    EXPECT_EQ(daemonMessages(), QStringList{started});
}

TEST_F(ServiceChanges, SystemctlGetsTheDaemonsEnvironmentAndThePackageToolGetsACleanedOne)
{
    const QByteArray report = "tr '\\0' '\\n' </proc/$$/environ >/run/environment.${0##*/}\n"
                              "readlink /proc/$$/cwd >/run/directory.${0##*/}\n"
                              "readlink /proc/$$/fd/0 >/run/input.${0##*/}\n";
    host::writeStandIn("/usr/bin/systemctl", report);
    host::writeStandIn("/usr/bin/pellmar", report);
    startDaemon({"PATH=/usr/bin", "IFS=x", "CDPATH=x", "ENV=x", "BASH_ENV=x",
                 "LD_PRELOAD=", "LD_LIBRARY_PATH=/x", "KEPT=a b"});
    EXPECT_EQ(callAs(administrator, {"restartService", "halvex-ebpf"}), 0);
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "0", "0"}), 0);

    const auto systemctl = host::readFile("/run/environment.systemctl").split('\n');
    const auto pellmar = host::readFile("/run/environment.pellmar").split('\n');
    for (const char *both : {"PATH=/usr/bin", "KEPT=a b", "LC_ALL=en_US.UTF-8"}) {
        EXPECT_THAT(systemctl, Contains(QByteArray(both)));
        EXPECT_THAT(pellmar, Contains(QByteArray(both)));
    }
    for (const char *removed :
         {"IFS=x", "CDPATH=x", "ENV=x", "BASH_ENV=x", "LD_PRELOAD=", "LD_LIBRARY_PATH=/x"}) {
        EXPECT_THAT(systemctl, Contains(QByteArray(removed)));
        EXPECT_THAT(pellmar, Not(Contains(QByteArray(removed))));
    }
    // systemctl runs in the daemon's own working directory, and its standard input is a pipe
    // without data.
    EXPECT_EQ(host::readFile("/run/directory.systemctl").trimmed(),
              QFile::symLinkTarget(QString("/proc/%1/cwd").arg(daemon.processId())));
    EXPECT_TRUE(host::readFile("/run/input.systemctl").startsWith("pipe:"));
    EXPECT_EQ(host::readFile("/run/directory.pellmar"), "/tmp\n");
    EXPECT_EQ(host::readFile("/run/input.pellmar"), "/dev/null\n");
}

using EngineOnTheBus = Services;

TEST_F(EngineOnTheBus, IsSwitchedOffWithoutCheckingTheNetwork)
{
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "0", "1"}), 0);
    EXPECT_EQ(host::standInCalls(), QStringList{"pellmar <kill> <halvex.net.ai>"});
}

TEST_F(EngineOnTheBus, IsNotSwitchedOnWhileAllInterfacesAreDown)
{
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"}), -2);
    EXPECT_EQ(host::standInCalls(), QStringList());
    EXPECT_EQ(daemonMessages(), QStringList{started});
}

TEST_F(EngineOnTheBus, IsSwitchedOnWhileAnInterfaceIsUp)
{
    setLoopbackUp();
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "1", "1"}), 0);
    EXPECT_EQ(host::awaitStandInCalls(1), QStringList{"pellmar <run> <halvex.net.ai>"});
}

TEST_F(EngineOnTheBus, InterfacesAreCheckedBeforeTheInternet)
{
    askForTheInternet();
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"}), -2);
}

TEST_F(EngineOnTheBus, CannotBeSwitchedWithoutThePackageToolAndCountsAsNotInstalled)
{
    setLoopbackUp();
    ASSERT_TRUE(QFile::remove("/usr/bin/pellmar"));
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"}), -1);
    EXPECT_EQ(daemonMessages(), QStringList{started});
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "0", "0"}), -1);
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "halvex.net.ai", "0"}), 2);
    EXPECT_EQ(daemonMessages(),
              (QStringList{started,
                           "\"Command failed (exit code 127): pellmar kill halvex.net.ai\\n"
                           "Error: /bin/sh: 1: pellmar: not found\\n\"",
                           "\"Command failed (exit code 1): pellmar list | grep halvex.net.ai\\n"
                           "Error: /bin/sh: 1: pellmar: not found\\n\""}));
}

TEST_F(EngineOnTheBus, WithMoreTextAfterItsNameOrInARestartIsTreatedAsAUnit)
{
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai halvex-ebpf", "0", "0"}),
              0);
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai ", "1", "0"}), 0);
    EXPECT_EQ(callAs(administrator, {"restartService", "halvex.net.ai"}), 0);
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "halvex.net.ai ", "0"}), 1);
    EXPECT_EQ(host::standInCalls(), (QStringList{"systemctl <stop> <halvex.net.ai> <halvex-ebpf>",
                                                 "systemctl <start> <halvex.net.ai> <>",
                                                 "systemctl <restart> <halvex.net.ai>",
                                                 "systemctl <is-active> <halvex.net.ai >"}));
}

TEST_F(EngineOnTheBus, KeepsRunningAndDoesNotBlockTheDaemon)
{
    setLoopbackUp();
    host::writeStandIn("/usr/bin/pellmar", "echo $$ >/run/engine; exec sleep 1000\n");
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"}), 0);
    EXPECT_EQ(callAs(anyone, {"getServiceStatus", "sshd", "0"}), 1);
    ASSERT_TRUE(waitFor([] { return QFile::exists("/run/engine"); }));
    EXPECT_TRUE(waitFor([] {
        const QString engine = host::readFile("/run/engine").trimmed();
        return !engine.isEmpty() && host::readFile("/proc/" + engine + "/comm") == "sleep\n";
    }));
}

TEST_F(EngineOnTheBus, IsNotSwitchedWhenThePackageToolPrintsTheWordFailed)
{
    setLoopbackUp();
    host::writeStandIn("/usr/bin/pellmar", "echo 'it failed'\n");
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"}), -1);
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "0", "0"}), -1);
    EXPECT_EQ(daemonMessages(), QStringList{started});
}

TEST_F(EngineOnTheBus, IsNotSwitchedOnWithoutTheRequiredInternet)
{
    setLoopbackUp();
    askForTheInternet();
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"}), -3);
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(EngineOnTheBus, IsSwitchedOnWithTheRequiredInternet)
{
    TlsServer server;
    askForTheInternet();
    startDaemon(soundEnvironment + slowClock);
    QProcess caller;
    startCall(caller, administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"});
    EXPECT_EQ(awaitReply(caller), Reply{0});
    EXPECT_EQ(server.requests, 1);
    EXPECT_EQ(host::awaitStandInCalls(1), QStringList{"pellmar <run> <halvex.net.ai>"});
}

TEST_F(EngineOnTheBus, OtherCallersAreServedWhileACallerWaitsForTheInternet)
{
    TlsServer server;
    askForTheInternet();
    startDaemon(soundEnvironment + slowClock);
    std::array<QProcess, 2> callers;
    Reply query;
    server.answer = [&] {
        if (server.requests == 1) {
            startCall(callers[1], administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"});
        } else {
            // Both probes are under way now.
            query = call("getServiceStatus", {"sshd", "0"}, anyone);
            server.callSoon([&] { server.answerWaiting(TlsServer::page()); });
        }
        return QByteArray();
    };
    startCall(callers[0], administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"});
    EXPECT_EQ(awaitReply(callers[0]), Reply{0});
    EXPECT_EQ(awaitReply(callers[1]), Reply{0});
    EXPECT_EQ(query, Reply{1});
    EXPECT_EQ(host::awaitStandInCalls(3),
              (QStringList{"systemctl <is-active> <sshd>", "pellmar <run> <halvex.net.ai>",
                           "pellmar <run> <halvex.net.ai>"}));
}

TEST_F(EngineOnTheBus, IsSwitchedOnAccordingToTheServersSettingsOnAServer)
{
    setLoopbackUp();
    askForTheInternet();
    host::writeFile("/etc/os-release", "VARIANT_ID=server\nNAME=Server\nVERSION=\"Server\"\n");
    host::writeFile(settings::serverAiPath, "dga_detect: 1\n");
    startDaemon();
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"}), 0);
    host::writeFile(settings::serverAiPath, "dga_detect: \"\\x01\"\n");
    EXPECT_EQ(callAs(administrator, {"setServiceStatus", "halvex.net.ai", "1", "0"}), -3);
}

TEST_F(EngineOnTheBus, ItsInferencesAreCounted)
{
    startDaemon();
    EXPECT_EQ(call("getAiInferencesCount", {}, anyone), (Reply{-1, {"0"}}));
    host::writeFile("/usr/lib/halvex_net_ai/getCount.py", "");
    QFile::remove("/usr/bin/python3");
    host::writeStandIn("/usr/bin/python3", "printf '42\\n\\n'\n");
    EXPECT_EQ(call("getAiInferencesCount", {}, anyone), (Reply{0, {"42\n"}}));
    host::writeStandIn("/usr/bin/python3");
    EXPECT_EQ(call("getAiInferencesCount", {}, anyone), (Reply{0, {""}}));
    EXPECT_EQ(daemonMessages(), QStringList{started});
    host::writeStandIn("/usr/bin/python3", "echo 42; exit 1\n");
    EXPECT_EQ(call("getAiInferencesCount", {}, anyone), (Reply{0, {"0"}}));
    EXPECT_EQ(host::standInCalls()[0], "python3 </usr/lib/halvex_net_ai/getCount.py>");
    EXPECT_EQ(daemonMessages(),
              (QStringList{started, "\"Command failed (exit code 1): /usr/bin/python3 "
                                    "/usr/lib/halvex_net_ai/getCount.py\\nError: \""}));
}

} // namespace
