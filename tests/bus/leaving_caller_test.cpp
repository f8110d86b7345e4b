// SPDX-License-Identifier: MIT
//
// Callers that have left the bus or exited before the daemon asks about them.
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/settings_paths.h"
#include "support/stand_in.h"

#include <QFile>
#include <QMap>

#include <sys/stat.h>

namespace {

class LeavingCaller : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        host::writeFile("/usr/sbin/halvex-desktop", host::readFile(LEAVING_FRONT_END), 0755);
    }

    /// The command line of the leaving front end, run at an allowed path by an ordinary user.
    static QStringList leaver(const QStringList &arguments)
    {
        Caller caller;
        caller.uid = user::ordinary;
        return frontEndCommand(caller, arguments);
    }

    /// How many calls have reached the gate: each leaves a dump of its caller's environment, or the
    /// message that there is no such process or environment.
    static int callsAtTheGate()
    {
        int calls = 0;
        for (const QByteArray &line : host::readFile("/run/daemon.err").split('\n')) {
            if (line.startsWith("environVars ") || line == "Failed to get caller PID" ||
                line.startsWith("file.open failed ")) {
                ++calls;
            }
        }
        return calls;
    }

    /// Starts a front end as root, which makes @p call. Returns once the gate waits for the status
    /// tool.
    void holdTheGate(QProcess &held, const QStringList &call = {"getEventTotalCount"})
    {
        ASSERT_EQ(mkfifo("/run/gate", 0600), 0);
        host::writeScript("/usr/sbin/getstatus", "if mkdir /run/held 2>/dev/null; then "
                                                 "cat /run/gate; fi\n");
        startFrontEnd(held, call);
        ASSERT_TRUE(waitFor([] { return QFile::exists("/run/held"); }));
    }

    static void releaseTheGate() { host::writeFile("/run/gate", "three admin: off\n"); }

    /// Starts a front end as root that waits for the answer to @p call.
    static void startFrontEnd(QProcess &process, const QStringList &call)
    {
        const QStringList command = frontEndCommand(lasting, QStringList{"--json"} + call);
        process.start(command.first(), command.mid(1));
        ASSERT_TRUE(process.waitForStarted(patienceMs));
    }

    /// Kills @p process and waits until it has been reaped.
    static void killCaller(QProcess &process)
    {
        ASSERT_EQ(process.state(), QProcess::Running);
        process.kill();
        ASSERT_TRUE(process.waitForFinished(patienceMs));
    }

    /// Whether the bus reports the process id of the connection @p name. Newer buses no longer
    /// report it once the process has exited, because another process may have its id by then.
    static bool busTellsProcessOf(const QString &name)
    {
        const auto result =
            host::run({"dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus",
                       "/org/freedesktop/DBus", "org.freedesktop.DBus.GetConnectionUnixProcessID",
                       "string:" + name});
        EXPECT_TRUE(result.exitCode == 0 || result.errors.contains("UnixProcessIdUnknown"))
            << result.errors.constData();
        return result.exitCode == 0;
    }

    void expectItServes()
    {
        // The state file is missing.
        EXPECT_EQ(call("getEventTotalCount", {}, lasting), (Reply{-1, {""}}));
    }

    /// A front end that waits for its answers.
    inline static const Caller lasting{user::root, frontEndPaths.first()};
};

TEST_F(LeavingCaller, IsRefusedAtWhateverMomentItLeaves)
{
    host::writeStandIn("/usr/bin/systemctl", "");
    const QMap<QString, QByteArray> settings{
        {settings::notifyPath, "<ossec_config><alerts/></ossec_config>\n"},
        {settings::interventionPath, "action \"block\" {\ntimeout = \"1\"\n}\n"},
        {settings::aiPath, "dga_detect: 0\n"},
    };
    for (const QString &path : settings.keys()) {
        host::writeFile(path, settings[path]);
    }
    startDaemon();
    int attempts = 0;
    for (const MethodCall &each : allMethodCalls()) {
        if (each.changes) {
            const auto result = host::run(
                leaver(QStringList{"disconnect", "200", "12000", each.name} + each.arguments));
            ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
            attempts += 200;
        }
    }
    ASSERT_EQ(attempts, 200 * changingMethods);
    // When this call has been served, all earlier calls have been served too.
    expectItServes();
    EXPECT_GT(callsAtTheGate(), attempts / 2) << "too few calls reached the gate";
    EXPECT_EQ(systemLog.takeLines().size(), callsAtTheGate() - 1) << "not every call was refused";
    EXPECT_EQ(host::standInCalls(), QStringList());
    for (const QString &path : settings.keys()) {
        EXPECT_EQ(host::readFile(path), settings[path]) << qPrintable(path);
    }
    EXPECT_FALSE(host::readFile("/run/daemon.err").contains("Error occurred:"))
        << "the upgrade service was called";
}

TEST_F(LeavingCaller, ThatHasLeftTheBusIsRefusedWithAWarning)
{
    startDaemon();
    QProcess held;
    holdTheGate(held);
    const auto result = host::run(leaver({"leave", "restartService", "halvex-ebpf"}));
    ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
    releaseTheGate();
    ASSERT_TRUE(held.waitForFinished(patienceMs));
    ASSERT_TRUE(waitFor([this] { return !systemLog.takeLines().isEmpty(); }));
    EXPECT_EQ(daemonMessages(), (QStringList{"dbus service start ", "Failed to get caller PID"}));
}

TEST_F(LeavingCaller, WhoseProcessHasExitedIsRefusedWithAMessage)
{
    startDaemon();
    QProcess held;
    holdTheGate(held);
    QProcess dying;
    const QStringList command = leaver({"die", "restartService", "halvex-ebpf"});
    dying.start(command.first(), command.mid(1));
    ASSERT_TRUE(dying.waitForStarted(patienceMs));
    const auto pid = dying.processId();
    ASSERT_TRUE(dying.waitForFinished(patienceMs));
    const QString name = QString::fromUtf8(dying.readAllStandardOutput()).trimmed();
    const QString message = busTellsProcessOf(name)
                                ? QString("file.open failed \"/proc/%1/environ\"").arg(pid)
                                : QString("Failed to get caller PID");
    releaseTheGate();
    ASSERT_TRUE(held.waitForFinished(patienceMs));
    ASSERT_TRUE(waitFor([this] { return !systemLog.takeLines().isEmpty(); }));
    EXPECT_EQ(daemonMessages(), (QStringList{"dbus service start ", message}));
}

TEST_F(LeavingCaller, ThatDiesAfterItsEnvironmentWasReadIsRefused)
{
    host::writeStandIn("/usr/bin/systemctl");
    startDaemon();
    QProcess dying;
    holdTheGate(dying, {"restartService", "halvex-ebpf"});
    killCaller(dying);
    releaseTheGate();
    expectItServes();
    EXPECT_EQ(systemLog.takeLines().size(), 1);
    EXPECT_EQ(host::standInCalls(), QStringList());
    EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
}

TEST_F(LeavingCaller, ThatDiesDuringItsChangeDoesNotStopTheChange)
{
    ASSERT_EQ(mkfifo("/run/work", 0600), 0);
    host::writeStandIn("/usr/bin/systemctl", "read word </run/work; echo $word >/run/done\n");
    startDaemon();
    QProcess dying;
    startFrontEnd(dying, {"restartService", "halvex-ebpf"});
    ASSERT_EQ(host::awaitStandInCalls(1), QStringList{"systemctl <restart> <halvex-ebpf>"});
    killCaller(dying);
    host::writeFile("/run/work", "restarted\n");
    expectItServes();
    EXPECT_EQ(host::readFile("/run/done"), "restarted\n");
    EXPECT_EQ(host::standInCalls().size(), 1);
    EXPECT_EQ(systemLog.takeLines(), QStringList());
}

} // namespace
