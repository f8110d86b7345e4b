// SPDX-License-Identifier: MIT
#include "faults/fault_host.h"

#include "support/host_files.h"
#include "support/machine_deadline.h"
#include "support/settings_paths.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>

#include <unistd.h>

namespace {

const QString statusToolText = "/run/getstatus.text";
const QString otherProgram = "/usr/bin/stranger";

// The daemon copies a short log itself, and has the kernel copy a long one. All lines are the same,
// so that an incomplete export is the beginning of the complete one, whichever log could not be
// read.
const QByteArray shortLog = "alert\n";
const QByteArray longLog = shortLog.repeated(22000);

/// A command that starts a program with @p name as its argv[0], instead of its own path.
QStringList withArgv0(const QString &name)
{
    return {"bash", "-c", "program=$1; shift; exec -a \"$0\" \"$program\" \"$@\"", name};
}

Caller callerOf(Role role)
{
    switch (role) {
    case Role::ForbiddenVariable:
        // Longer than what the daemon reads at once.
        return {user::root, frontEndPaths[1], {"FILLING=" + QString(20000, 'x'), "LD_PRELOAD="}};
    case Role::OtherProgram:
        return {user::root, otherProgram, {}, withArgv0(frontEndPaths[0])};
    case Role::OrdinaryUser:
        return {user::ordinary};
    case Role::RootWhenSeparated:
    case Role::Bystander:
        return {user::root};
    case Role::Allowed:
    case Role::WheelWhenSeparated:
        break;
    }
    return {user::wheelMember};
}

} // namespace

QByteArray allAlerts()
{
    return longLog + shortLog;
}

FrontEnds::~FrontEnds()
{
    while (!processes.empty()) {
        giveUp(processes.begin()->first);
    }
}

QProcess &FrontEnds::started(Role role)
{
    std::unique_ptr<QProcess> &process = processes[role];
    if (!process) {
        const Caller caller = callerOf(role);
        const QString id = QString::number(caller.uid);
        process = std::make_unique<QProcess>();
        process->setEnvironment(withSanitizerOptions(
            QStringList{"PATH=/usr/sbin:/usr/bin:/sbin:/bin"} + caller.environment));
        process->start("setpriv",
                       QStringList{"--reuid", id, "--regid", id, "--clear-groups", "--"} +
                           caller.wrapper + QStringList{caller.path, "--json", "--lines"});
        EXPECT_TRUE(process->waitForStarted(patienceMs));
    }
    return *process;
}

void FrontEnds::ask(Role role, const QString &method, const QStringList &arguments)
{
    QProcess &process = started(role);
    process.write((QStringList{method} + arguments).join('\t').toUtf8() + '\n');
    process.waitForBytesWritten(patienceMs);
}

std::optional<Reply> FrontEnds::answer(Role role, int timeoutMs)
{
    QProcess &process = started(role);
    MachineDeadline deadline(timeoutMs);
    while (!process.canReadLine() && process.state() == QProcess::Running &&
           !deadline.hasExpired()) {
        process.waitForReadyRead(MachineDeadline::stepMs);
    }
    if (!process.canReadLine()) {
        return std::nullopt;
    }
    return parseReply(process.readLine());
}

void FrontEnds::giveUp(Role role)
{
    QProcess &process = started(role);
    process.kill();
    process.waitForFinished();
    processes.erase(role);
}

void FaultHost::SetUp()
{
    host::writeFile("/etc/dbus-1/system.d/com.norva.systemupgrade.conf",
                    "<busconfig><policy user=\"root\">"
                    "<allow own=\"com.norva.systemupgrade\"/>"
                    "<allow send_destination=\"com.norva.systemupgrade\"/>"
                    "</policy></busconfig>\n");
    DaemonHost::SetUp();
    host::writeScript("/usr/sbin/getstatus",
                      "read line <" + statusToolText.toUtf8() + "; echo \"$line\"\n");
    host::writeScript("/usr/bin/systemctl", "echo active\n");
    host::writeScript("/usr/bin/pellmar", "echo halvex.net.ai\n");
    host::writeScript("/usr/bin/ps", "echo /opt/apps/halvex.net.ai/files/bin/halvex_inference\n");
    host::writeScript("/usr/bin/python3", "echo 42\n");
    host::writeFile(otherProgram, host::readFile(frontEndPaths[1]), 0755);
    host::writeFile("/etc/os-release", "ID=norva\n");
    host::writeFile("/usr/lib/halvex_net_ai/getCount.py", "print(42)\n");
    host::writeFile("/var/lib/halvex/var/run/halvex-research.state", "events_processed='1234'\n");
    host::writeFile("/var/log/halvex/logs/alerts/a.log", longLog);
    host::writeFile("/var/log/halvex/logs/alerts/2024/b.log", shortLog);
    ASSERT_EQ(host::run({"ip", "link", "set", "lo", "up"}).exitCode, 0);
    startUpgradeService();
    restoreFiles();
    setStatusToolFor(Role::Allowed);
    startDaemon();
}

void FaultHost::TearDown()
{
    upgradeService.kill();
    upgradeService.waitForFinished();
    DaemonHost::TearDown();
}

void FaultHost::startUpgradeService()
{
    upgradeService.start(UPGRADE_SERVICE, QStringList());
    ASSERT_TRUE(upgradeService.waitForReadyRead(patienceMs));
    auto order = QDBusMessage::createMethodCall("com.norva.systemupgrade", "/control",
                                                "com.norva.systemupgrade.control", "replyWith");
    order.setArguments({QVariant(QVariantList{7, "accepted"})});
    const QDBusMessage reply = QDBusConnection::systemBus().call(order, QDBus::Block, patienceMs);
    ASSERT_EQ(reply.type(), QDBusMessage::ReplyMessage) << qPrintable(reply.errorMessage());
}

void FaultHost::restartDaemon()
{
    stopDaemon();
    startDaemon();
}

bool FaultHost::daemonRuns()
{
    daemon.waitForFinished(0);
    return daemon.state() == QProcess::Running;
}

void FaultHost::setStatusToolFor(Role role)
{
    const bool isSeparated = role == Role::WheelWhenSeparated || role == Role::RootWhenSeparated;
    setStatusToolOutput(isSeparated ? "three admin: on\n" : "three admin: off\n");
}

const Files &FaultHost::originalFiles()
{
    static const Files files{
        {settings::notifyPath,
         "<ossec_config>\n<alerts>\n<notify>\n<notify_fold>1</notify_fold>\n</notify>\n</alerts>\n"
         "</ossec_config>\n"},
        {settings::interventionPath, "action \"block\"\ntimeout = \"30\"\n"},
        {settings::blockTimePath, "TIMEOUT=\"timeout 600s\"\n"},
        {settings::aiPath, "dga_detect: 0\n"},
        {exportPath, "older\n"},
    };
    return files;
}

Files FaultHost::currentFiles()
{
    Files files;
    for (auto file = originalFiles().begin(); file != originalFiles().end(); ++file) {
        files[file.key()] = QFile::exists(file.key()) ? host::readFile(file.key()) : "(none)";
    }
    return files;
}

void FaultHost::restoreFiles()
{
    for (auto file = originalFiles().begin(); file != originalFiles().end(); ++file) {
        if (!QFile::exists(file.key()) || host::readFile(file.key()) != file.value()) {
            host::writeFile(file.key(), file.value());
        }
    }
}
