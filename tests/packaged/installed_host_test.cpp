// SPDX-License-Identifier: MIT
#include "packaged/installed_host.h"
#include "support/host_files.h"
#include "support/settings_paths.h"
#include "support/stand_in.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <sys/stat.h>

namespace {

constexpr const char *statePath = "/var/lib/halvex/var/run/halvex-research.state";
constexpr const char *unit = "halvex-desktop-daemon";

const Caller anna{user::wheelMember};
const Caller otto{user::ordinary};

/// The bus's answer to @p caller, who requests the daemon's name.
QString requestName(const Caller &caller)
{
    const QString id = QString::number(caller.uid);
    const auto result = host::run(
        {"setpriv", "--reuid", id, "--regid", id, "--clear-groups", "dbus-send", "--system",
         "--print-reply=literal", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
         "org.freedesktop.DBus.RequestName", "string:com.norva.halvex.desktop", "uint32:4"});
    return QString::fromUtf8(result.output + result.errors).trimmed();
}

// --- activation and policy ---

TEST_F(InstalledHost, AnOrdinaryUsersCallStartsTheDaemon)
{
    host::writeFile(statePath, "events_processed='1234'\n", 0600);
    EXPECT_EQ(show("ActiveState"), "inactive");
    EXPECT_EQ(call("getEventTotalCount", {}, otto), (Reply{0, {"1234"}}));
    EXPECT_EQ(show("ActiveState"), "active");
    EXPECT_EQ(QFile::symLinkTarget(QString("/proc/%1/exe").arg(daemonPid())),
              "/usr/libexec/halvex-desktop-daemon");
}

TEST_F(InstalledHost, OnlyRootMayOwnTheDaemonsName)
{
    const QString denied = "Error org.freedesktop.DBus.Error.AccessDenied: ";
    EXPECT_TRUE(requestName(otto).startsWith(denied)) << "while nobody owns the name";
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    EXPECT_TRUE(requestName(otto).startsWith(denied)) << "while the daemon owns it";
    EXPECT_TRUE(requestName(anna).startsWith(denied));
    EXPECT_EQ(requestName(Caller{user::root}), "uint32 3") << "while the daemon owns it";
    mustRun({"systemctl", "stop", unit});
    EXPECT_EQ(requestName(Caller{user::root}), "uint32 1") << "while nobody owns it";
}

TEST_F(InstalledHost, EachMethodPassesThePolicyAndOnlyTheGateRefuses)
{
    host::writeStandIn("/usr/bin/pellmar");
    for (const MethodCall &each : allMethodCalls()) {
        const Reply reply = call(each.name, each.arguments, otto);
        EXPECT_EQ(reply.error, "") << each.name;
        EXPECT_EQ(reply.status == -999, each.changes) << each.name;
        EXPECT_NE(call(each.name, each.arguments, anna).status, -999) << each.name;
    }
    EXPECT_EQ(journal().count("The caller has no permission"), changingMethods);
}

// --- the work under the unit ---

TEST_F(InstalledHost, ServiceCallsReadAndChangeARealUnit)
{
    host::writeFile(
        "/etc/systemd/system/halvex-ebpf.service",
        "[Service]\nExecStart=/bin/sleep infinity\n[Install]\nWantedBy=multi-user.target\n");
    mustRun({"systemctl", "daemon-reload"});
    const auto ask = [this](int type) {
        return call("getServiceStatus", {"halvex-ebpf", QString::number(type)}, otto);
    };
    const auto set = [this](int status, int type) {
        return call("setServiceStatus",
                    {"halvex-ebpf", QString::number(status), QString::number(type)}, anna);
    };
    for (const int type : {0, 1}) {
        EXPECT_EQ(ask(type), Reply{0});
        EXPECT_EQ(set(1, type), Reply{0});
        EXPECT_EQ(ask(type), Reply{1});
    }
    EXPECT_EQ(call("restartService", {"halvex-ebpf"}, anna), Reply{0});
    for (const int type : {0, 1}) {
        EXPECT_EQ(set(0, type), Reply{0});
        EXPECT_EQ(ask(type), Reply{0});
    }
}

TEST_F(InstalledHost, EverySettingsFileIsWrittenOnBothEditions)
{
    constexpr const char *notify = settings::notifyPath;
    constexpr const char *intervention = settings::interventionPath;
    constexpr const char *blockTime = settings::blockTimePath;
    for (const bool isServer : {false, true}) {
        const QString ai = isServer ? settings::serverAiPath : settings::aiPath;
        host::writeFile("/etc/os-release", isServer ? "NAME=\"Norva Server\"\n" : "NAME=Norva\n");
        host::writeFile(notify, "<ossec_config><alerts><notify/></alerts></ossec_config>\n", 0600);
        host::writeFile(intervention, "action \"block\" {\ntimeout = \"30\"\n}\n", 0600);
        host::writeFile(blockTime, "TIMEOUT=\"timeout 600s\"\n", 0600);
        host::writeFile(ai, "dga_detect: 0\n", 0600);
        mustRun({"systemctl", "stop", unit});

        EXPECT_EQ(call("setNotifyConfig", {"0", "60", "1"}, anna), Reply{0});
        EXPECT_EQ(call("setInterventionConfig", {"block", "timeout", "45"}, anna), Reply{0});
        EXPECT_EQ(call("setInterventionConfig", {"block", "blockip_timeout", "900s"}, anna),
                  Reply{0});
        EXPECT_EQ(call("setAiConfig", {"0", "dga_detect", "1"}, anna), Reply{0});

        EXPECT_TRUE(host::readFile(notify).contains("<notify_timeout>60</notify_timeout>"));
        EXPECT_EQ(host::readFile(intervention), "action \"block\" {\ntimeout = \"45\"\n}\n");
        EXPECT_EQ(host::readFile(blockTime), "TIMEOUT=\"timeout 900s\"\n");
        EXPECT_EQ(host::readFile(ai), "dga_detect: 1");
        for (const QString &path :
             {QString(notify), QString(intervention), QString(blockTime), ai}) {
            EXPECT_EQ(host::ownerAndMode(path), "0:0 0600") << qPrintable(path);
        }
    }
}

TEST_F(InstalledHost, TheExportLiesInTheHostsOwnTmp)
{
    host::writeFile("/var/log/halvex/logs/alerts/a.log", "alert\n", 0600);
    EXPECT_EQ(call("generateLogFile", {}, otto), Reply{0});
    EXPECT_EQ(host::readFile("/tmp/halvex_alerts.log"), "alert\n");
    EXPECT_EQ(host::ownerAndMode("/tmp/halvex_alerts.log"), "0:0 0666");
}

// --- the engine, which lives in the daemon's control group ---

class EngineOfAnInstalledHost : public InstalledHost
{
protected:
    void SetUp() override
    {
        InstalledHost::SetUp();
        host::writeStandIn("/usr/bin/pellmar",
                           "[ $1 != run ] || {\n"
                           "echo $$ >/run/engine\n"
                           "tr '\\0' '\\n' </proc/$$/environ >/run/engine.environ\n"
                           "exec sleep infinity\n}\n");
        ASSERT_EQ(call("setServiceStatus", {"halvex.net.ai", "1", "0"}, anna), Reply{0});
        ASSERT_TRUE(waitFor([] { return QFile::exists("/run/engine.environ"); }));
        engine = host::readFile("/run/engine").toInt();
        ASSERT_TRUE(isAlive());
    }

    [[nodiscard]] bool isAlive() const
    {
        return host::readFile(QString("/proc/%1/comm").arg(engine)) == "sleep\n";
    }

    int engine = 0;
};

TEST_F(EngineOfAnInstalledHost, OutlivesARestartACrashAndAStopOfTheDaemon)
{
    EXPECT_EQ(show("ControlGroup"), "/system.slice/halvex-desktop-daemon.service");
    EXPECT_TRUE(host::readFile(QString("/proc/%1/cgroup").arg(engine))
                    .contains("/halvex-desktop-daemon.service\n"));
    const int first = daemonPid();
    mustRun({"systemctl", "restart", unit});
    const int second = daemonPid();
    EXPECT_NE(first, second);
    EXPECT_TRUE(isAlive());

    ASSERT_EQ(kill(second, SIGKILL), 0);
    EXPECT_TRUE(waitFor([&] { return daemonPid() != second && daemonPid() != 0; }))
        << "systemd has not restarted the daemon";
    EXPECT_TRUE(isAlive());

    mustRun({"systemctl", "stop", unit});
    EXPECT_EQ(daemonPid(), 0);
    EXPECT_TRUE(isAlive());
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1)
        << "the call did not start the daemon again";
    EXPECT_TRUE(isAlive());
}

TEST_F(EngineOfAnInstalledHost, OutlivesAnUpgradeAndARemovalOfThePackage)
{
    installPackage();
    EXPECT_TRUE(isAlive());
    mustRun({"dpkg", "--purge", unit});
    EXPECT_TRUE(isAlive());
}

TEST_F(EngineOfAnInstalledHost, HasNoVariableOfTheWatchdog)
{
    const QByteArray environment = '\n' + host::readFile("/run/engine.environ");
    EXPECT_TRUE(environment.contains("\nPATH=/usr/sbin:/usr/bin:/sbin:/bin\n"));
    for (const char *name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
        EXPECT_FALSE(environment.contains(QByteArray("\n") + name + '=')) << name;
    }
}

// --- the watchdog ---

TEST_F(InstalledHost, AStuckDaemonIsKilledAndRestarted)
{
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    EXPECT_EQ(show("WatchdogUSec"), "5min");
    mustRun({"systemctl", "stop", unit});
    addToUnit("WatchdogSec=2s\n");
    host::writeScript("/usr/sbin/getstatus", "[ -e /run/well ] || exec sleep infinity\n");
    // The daemon is stuck in this call. When the daemon has ended, the bus answers instead of it.
    EXPECT_EQ(call("getEventTotalCount", {}, otto).error, "org.freedesktop.DBus.Error.NoReply");
    host::writeFile("/run/well", "");
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    EXPECT_TRUE(journal().contains("Watchdog timeout (limit 2s)!"));
    EXPECT_TRUE(journal().contains("Main process exited, code=killed, status=9/KILL"))
        << "SIGKILL, which leaves no core file, did not end the daemon";
}

TEST_F(InstalledHost, ABusyDaemonIsNotKilled)
{
    addToUnit("WatchdogSec=5s\n");
    host::writeScript("/usr/sbin/getstatus", "exec sleep 0.3\n");
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    const int pid = daemonPid();
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 12000) {
        EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    }
    EXPECT_EQ(daemonPid(), pid);
    EXPECT_EQ(show("NRestarts"), "0");
}

TEST_F(InstalledHost, ADaemonWithALongQueueIsNotKilled)
{
    addToUnit("WatchdogSec=4s\n");
    host::writeScript("/usr/sbin/getstatus", "exec sleep 0.4\n");
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    std::array<QProcess, 20> callers;
    const QStringList command = frontEndCommand(otto, {"--json", "getEventTotalCount"});
    for (QProcess &caller : callers) {
        caller.start(command.first(), command.mid(1));
    }
    for (QProcess &caller : callers) {
        ASSERT_TRUE(caller.waitForFinished(patienceMs));
        EXPECT_EQ(parseReply(caller.readAllStandardOutput()).status, -1);
    }
    EXPECT_EQ(show("NRestarts"), "0");
}

TEST_F(InstalledHost, ADaemonIsNotKilledInACallThatTakesNearlyTheWatchdogInterval)
{
    // A slow machine needs the rest of the interval.
    addToUnit("WatchdogSec=12s\n");
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    host::writeScript("/usr/sbin/getstatus", "exec sleep 8\n");
    for (int i = 0; i < 2; ++i) {
        QThread::msleep(5000); // the next message to the watchdog is nearly due
        EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    }
    EXPECT_EQ(show("NRestarts"), "0");
}

// --- callers from units ---

TEST_F(InstalledHost, ACallerFromAUnitWithAPrivateTmpIsRefused)
{
    const QStringList run{"systemd-run", "--quiet", "--pipe", "--wait"};
    const QStringList frontEnd{"/usr/sbin/halvex-desktop", "--json", "getEventTotalCount"};
    EXPECT_EQ(parseReply(mustRun(run + frontEnd)), (Reply{-1, {""}}));
    EXPECT_EQ(parseReply(mustRun(run + QStringList{"--property=PrivateTmp=yes"} + frontEnd)),
              (Reply{-999, {""}}));
    EXPECT_TRUE(journal().contains("[!] Sandbox detected: Mount namespace mismatch."));
}

// --- the journal ---

TEST_F(InstalledHost, NoCallersSecretIsInTheJournal)
{
    const Caller withSecret{user::ordinary, "/usr/sbin/halvex-desktop", {"TOKEN=swordfish"}};
    EXPECT_EQ(call("getEventTotalCount", {}, withSecret).status, -1);
    EXPECT_EQ(call("restartService", {"halvex-ebpf"}, withSecret).status, -999);
    EXPECT_TRUE(journal().contains("The caller has no permission"));
    EXPECT_FALSE(journal().contains("swordfish"));
}

TEST_F(InstalledHost, TheDebugLevelCanBeSwitchedOnAsTheUnitSays)
{
    addToUnit("Environment=QT_LOGGING_RULES=default.debug=true\n");
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    EXPECT_TRUE(journal().contains("dbus service start"));
    EXPECT_TRUE(journal().contains("environVars (\"PATH="));
}

// --- what is installed ---

TEST_F(InstalledHost, SystemdFindsNothingWrongWithTheUnit)
{
    const auto result = host::run(
        {"systemd-analyze", "verify", "/lib/systemd/system/halvex-desktop-daemon.service"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output + result.errors, "");
    const QByteArray exposure = mustRun({"systemd-analyze", "security", unit});
    std::puts(exposure.mid(exposure.indexOf("Overall exposure level")).constData());
    EXPECT_EQ(host::run({"systemd-analyze", "security", "--threshold=80", unit}).exitCode, 0);
}

TEST_F(InstalledHost, PassesThePackagesOwnTest)
{
    ASSERT_TRUE(QFile::remove("/usr/sbin/halvex-desktop"));
    mustRun({SOURCE "/debian/tests/callers"});
}

// If the daemon's unit reached a limit of tasks, a status tool that starts another program would
// fail. The daemon would take this as the answer that the administrator roles are not separated.
TEST_F(InstalledHost, TheUnitHasNoLimitOfTasks)
{
    EXPECT_EQ(show("TasksMax"), "infinity");
}

TEST_F(InstalledHost, AnUpgradeRestartsTheDaemonOnlyIfItRuns)
{
    installPackage();
    EXPECT_EQ(daemonPid(), 0);
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    const int before = daemonPid();
    installPackage();
    EXPECT_NE(daemonPid(), 0);
    EXPECT_NE(daemonPid(), before);
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
}

TEST_F(InstalledHost, AnUpgradeAppliesTheNewUnit)
{
    const char *path = "/lib/systemd/system/halvex-desktop-daemon.service";
    const QByteArray shipped = host::readFile(path);
    host::writeFile(path, QByteArray(shipped).replace("Description=", "Description=Old "));
    mustRun({"systemctl", "daemon-reload"});
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    EXPECT_TRUE(show("Description").startsWith("Old "));
    installPackage();
    EXPECT_TRUE(show("Description").startsWith("Root daemon"));
}

TEST_F(InstalledHost, TheExportIsReplacedOnlyAtBoot)
{
    host::writeFile("/tmp/halvex_alerts.log", "alert\n", 0600);
    mustRun({"systemd-tmpfiles", "--create", "--remove", "halvex-desktop-daemon.conf"});
    EXPECT_EQ(host::readFile("/tmp/halvex_alerts.log"), "alert\n");
    EXPECT_EQ(host::ownerAndMode("/tmp/halvex_alerts.log"), "0:0 0600");
}

TEST_F(InstalledHost, AtBootTheExportIsReplacedWhateverIsAtItsPath)
{
    constexpr const char *path = "/tmp/halvex_alerts.log";
    const QStringList boot{"systemd-tmpfiles", "--create", "--remove", "--boot",
                           "halvex-desktop-daemon.conf"};
    host::writeFile("/srv/precious", "precious\n", 0640);
    host::writeFile(path, "theirs\n", 0600);
    ASSERT_EQ(chown(path, user::ordinary, user::ordinary), 0);
    mustRun(boot);
    EXPECT_EQ(host::ownerAndMode(path), "0:0 0666");
    EXPECT_EQ(host::readFile(path), "");

    ASSERT_TRUE(QFile::remove(path));
    ASSERT_TRUE(QFile::link("/srv/precious", path));
    mustRun(boot);
    EXPECT_EQ(host::ownerAndMode(path), "0:0 0666");
    EXPECT_EQ(host::readFile("/srv/precious"), "precious\n");
    EXPECT_EQ(host::ownerAndMode("/srv/precious"), "0:0 0640");

    ASSERT_TRUE(QFile::remove(path));
    host::writeFile("/tmp/victim", "precious\n", 0640);
    ASSERT_EQ(link("/tmp/victim", path), 0);
    mustRun(boot);
    EXPECT_EQ(host::ownerAndMode(path), "0:0 0666");
    EXPECT_EQ(host::readFile("/tmp/victim"), "precious\n");
    EXPECT_EQ(host::ownerAndMode("/tmp/victim"), "0:0 0640");
}

TEST_F(InstalledHost, TheExportIsNotRemovedAsAnOldFile)
{
    host::writeFile("/run/tmpfiles.d/tmp.conf", "d /tmp 1777 root root 1ms\n");
    host::writeFile("/tmp/halvex_alerts.log", "alert\n");
    host::writeFile("/tmp/other", "old\n");
    QThread::msleep(50);
    mustRun({"systemd-tmpfiles", "--clean"});
    EXPECT_FALSE(QFile::exists("/tmp/other"));
    EXPECT_EQ(host::readFile("/tmp/halvex_alerts.log"), "alert\n");
}

TEST_F(InstalledHost, APackageInAnotherRootDoesNotAffectThisHost)
{
    // The maintainer scripts run this host's programs, but for another root directory.
    ASSERT_TRUE(QDir().mkpath("/srv/other"));
    mustRun({"cp", "-a", "--parents", "/var/lib/dpkg", "/etc/passwd", "/etc/group", "/etc/shadow",
             "/etc/gshadow", "/srv/other"});
    EXPECT_EQ(call("generateLogFile", {}, otto), Reply{0});
    const int before = daemonPid();
    const QStringList elsewhere{"dpkg", "--root=/srv/other", "--force-script-chrootless",
                                "--force-depends"};
    mustRun(elsewhere + QStringList{"--install", PACKAGE});
    mustRun(elsewhere + QStringList{"--purge", unit});
    EXPECT_EQ(daemonPid(), before);
    EXPECT_TRUE(QFile::exists("/tmp/halvex_alerts.log"));
}

/// The files in all directories that a package may change, sorted. Left out are those of dpkg, logs
/// and caches, and those where other programs may write at any time.
QStringList filesOfTheHost()
{
    QStringList files;
    for (const char *directory : {"/etc", "/usr", "/lib/systemd", "/var", "/opt", "/srv", "/tmp"}) {
        QDirIterator walk(directory,
                          QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                          QDirIterator::Subdirectories);
        while (walk.hasNext()) {
            const QString path = walk.next();
            if (!path.startsWith("/var/lib/dpkg/") && !path.startsWith("/var/log/") &&
                !path.startsWith("/var/cache/") && !path.startsWith("/var/tmp/") &&
                !path.startsWith("/tmp/systemd-private-")) {
                files << path;
            }
        }
    }
    files.sort();
    return files;
}

/// Those of @p files that are not among @p others. Both are sorted.
QStringList filesMissingIn(const QStringList &others, const QStringList &files)
{
    QStringList missing;
    std::set_difference(files.begin(), files.end(), others.begin(), others.end(),
                        std::back_inserter(missing));
    return missing;
}

/// A host on which the package has never been installed.
class BareHost : public InstalledHost
{
protected:
    void SetUp() override
    {
        SuiteHost::SetUp();
        allowPackagesToStartUnits();
    }
};

TEST_F(BareHost, ARemovalLeavesNothing)
{
    const QStringList before = filesOfTheHost();
    installPackage();
    EXPECT_NE(filesOfTheHost(), before);
    EXPECT_EQ(call("generateLogFile", {}, otto), Reply{0});
    EXPECT_TRUE(QFile::exists("/tmp/halvex_alerts.log"));

    // A front end calls all the time meanwhile.
    QProcess poller;
    poller.start("sh",
                 {"-c", "while :; do /usr/sbin/halvex-desktop --json getEventTotalCount; done"});
    ASSERT_TRUE(poller.waitForReadyRead(patienceMs));
    mustRun({"dpkg", "--purge", unit});
    poller.kill();
    poller.waitForFinished();
    const QStringList after = filesOfTheHost();
    EXPECT_EQ(filesMissingIn(before, after), QStringList()) << "left behind";
    EXPECT_EQ(filesMissingIn(after, before), QStringList()) << "removed too much";
    EXPECT_EQ(call("getEventTotalCount", {}, otto).error,
              "org.freedesktop.DBus.Error.ServiceUnknown");
    EXPECT_EQ(show("LoadState"), "not-found");
    EXPECT_EQ(host::run({"pgrep", "-f", "libexec/halvex-desktop-daemon"}).output, "");
}

} // namespace
