// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"

#include "support/host_files.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

namespace {

constexpr const char *outputPath = "/run/daemon.out";
constexpr const char *messagesPath = "/run/daemon.err";
constexpr const char *statusToolText = "/run/getstatus.text";
constexpr const char *statusToolLog = "/run/getstatus.log";
constexpr int patienceMs = 60000;

void makeUsers()
{
    QByteArray groups;
    for (const QByteArray &line : host::readFile("/etc/group").split('\n')) {
        if (!line.isEmpty() && !line.startsWith("wheel:")) {
            groups += line + '\n';
        }
    }
    host::writeFile("/etc/group", groups + "wheel:x:2000:root,annabel,anna\n");
    host::writeFile("/etc/passwd", host::readFile("/etc/passwd") + "secadm:x:600:600::/:/bin/sh\n"
                                                                   "anna:x:2001:2001::/:/bin/sh\n"
                                                                   "otto:x:2002:2002::/:/bin/sh\n"
                                                                   "pia:x:2003:2000::/:/bin/sh\n");
}

QStringList linesOf(const char *path)
{
    return QString::fromUtf8(host::readFile(path)).split('\n', Qt::SkipEmptyParts);
}

/// The caller's environment with the sanitizers' settings, which a sanitized build needs.
QStringList withSanitizerOptions(QStringList environment)
{
    for (const char *name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
        if (qEnvironmentVariableIsSet(name)) {
            environment << QString("%1=%2").arg(name, qEnvironmentVariable(name));
        }
    }
    return environment;
}

QStringList environmentOf(const Caller &caller)
{
    return withSanitizerOptions(QStringList{"PATH=/usr/sbin:/usr/bin:/sbin:/bin"} +
                                caller.environment);
}

} // namespace

bool waitFor(const std::function<bool()> &condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > patienceMs) {
            return false;
        }
        QThread::msleep(2);
    }
    return true;
}

bool operator==(const Reply &left, const Reply &right)
{
    return left.status == right.status && left.texts == right.texts && left.error == right.error;
}

void PrintTo(const Reply &reply, std::ostream *stream)
{
    *stream << "status " << reply.status << ", texts [" << qPrintable(reply.texts.join("] ["))
            << "], error \"" << qPrintable(reply.error) << "\"";
}

Reply parseReply(const QByteArray &json)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    Reply reply;
    reply.error = object["error"].toString();
    QVariantList values = object["values"].toArray().toVariantList();
    if (!values.isEmpty()) {
        reply.status = values.takeFirst().toInt();
    }
    for (const QVariant &value : values) {
        reply.texts << value.toString();
    }
    return reply;
}

const QList<MethodCall> &allMethodCalls()
{
    static const QList<MethodCall> calls{
        {"getServiceStatus", {"halvex-ebpf", "0"}, 0, false},
        {"setServiceStatus", {"halvex-ebpf", "1", "0"}, 0, true},
        {"restartService", {"halvex-ebpf"}, 0, true},
        {"getNotifyConfig", {}, 3, false},
        {"setNotifyConfig", {"0", "30", "1"}, 0, true},
        {"getInterventionConfig", {"block", "timeout"}, 1, false},
        {"setInterventionConfig", {"block", "timeout", "60"}, 0, true},
        {"getAiConfig", {"0", "dga_detect"}, 1, false},
        {"setAiConfig", {"0", "dga_detect", "1"}, 0, true},
        {"installPackages", {"halvex-net-ai"}, 0, true},
        {"generateLogFile", {}, 0, false},
        {"getEventTotalCount", {}, 1, false},
        {"getAiInferencesCount", {}, 1, false},
    };
    return calls;
}

void DaemonHost::SetUp()
{
    makeUsers();
    for (const QString &path : frontEndPaths) {
        host::writeFile(path, host::readFile(FRONT_END), 0755);
    }
    host::writeScript("/usr/sbin/getstatus",
                      QByteArray("echo run >>") + statusToolLog + "\ncat " + statusToolText + "\n");
    setStatusToolOutput("Three Admin : off\n");
    host::writeFile(statusToolLog, {});
    host::writeFile("/etc/dbus-1/system.d/com.norva.halvex.desktop.conf",
                    host::readFile(BUS_POLICY));

    if (QFile::exists("/run/dbus/system_bus_socket")) {
        // A booted host has a bus, which has to be told of the policy.
        ASSERT_EQ(
            host::run({"dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus",
                       "/org/freedesktop/DBus", "org.freedesktop.DBus.ReloadConfig"})
                .exitCode,
            0);
        return;
    }
    ASSERT_TRUE(QDir().mkpath("/run/dbus"));
    ASSERT_EQ(host::run({"dbus-uuidgen", "--ensure"}).exitCode, 0);
    bus.start("dbus-daemon",
              {"--system", "--nofork", "--nopidfile", "--nosyslog", "--print-address"});
    ASSERT_TRUE(bus.waitForReadyRead(patienceMs)) << bus.readAllStandardError().constData();
}

void DaemonHost::TearDown()
{
    if (daemon.state() != QProcess::NotRunning || daemonMayEnd) {
        stopDaemon();
    } else {
        ADD_FAILURE() << "the daemon does not run any more";
    }
    for (const QString &line : daemonMessages()) {
        EXPECT_FALSE(line.contains("ERROR: AddressSanitizer") || line.contains("runtime error:"))
            << qPrintable(daemonMessages().join('\n'));
    }
    bus.kill();
    bus.waitForFinished();
}

void DaemonHost::startDaemon(const QStringList &environment, const QStringList &wrapper)
{
    host::writeFile(outputPath, {});
    host::writeFile(messagesPath, {});
    daemon.setStandardOutputFile(outputPath);
    daemon.setStandardErrorFile(messagesPath);
    daemon.setEnvironment(withSanitizerOptions(environment));
    const QStringList command = wrapper + QStringList{DAEMON} + daemonArguments;
    daemon.start(command.first(), command.mid(1));
    ASSERT_TRUE(waitFor([this] {
        return daemonMessages().contains("dbus service start ") ||
               (daemon.waitForFinished(0), daemon.state() == QProcess::NotRunning);
    }));
    ASSERT_EQ(daemon.state(), QProcess::Running) << qPrintable(daemonMessages().join('\n'));
}

int DaemonHost::runDaemonToItsEnd(const QStringList &environment)
{
    daemonMayEnd = true;
    const auto result = host::run({DAEMON}, withSanitizerOptions(environment));
    host::writeFile(outputPath, result.output);
    host::writeFile(messagesPath, result.errors);
    return result.exitCode;
}

void DaemonHost::stopDaemon()
{
    daemon.kill();
    daemon.waitForFinished();
}

Reply DaemonHost::call(const QString &method, const QStringList &arguments, const Caller &caller)
{
    const auto result = host::run(
        frontEndCommand(caller, QStringList{"--json", method} + arguments), environmentOf(caller));
    EXPECT_FALSE(result.output.isEmpty()) << "no answer: " << result.errors.constData();
    return parseReply(result.output);
}

Reply DaemonHost::callWithLongText(const QString &method, const QStringList &arguments,
                                   const QString &last, const Caller &caller)
{
    const auto result =
        host::run(frontEndCommand(caller, QStringList{"--json", "--input", method} + arguments),
                  environmentOf(caller), last.toUtf8());
    EXPECT_FALSE(result.output.isEmpty()) << "no answer: " << result.errors.constData();
    return parseReply(result.output);
}

void DaemonHost::startWaiting(QProcess &process, const QString &method,
                              const QStringList &arguments, const Caller &caller)
{
    const QStringList command =
        frontEndCommand(caller, QStringList{"--json", "--wait", method} + arguments);
    process.setEnvironment(environmentOf(caller));
    process.start(command.first(), command.mid(1));
    ASSERT_TRUE(process.waitForReadyRead(patienceMs)) << process.readAllStandardError().constData();
    ASSERT_TRUE(process.readLine().contains("waiting"));
}

Reply DaemonHost::finishWaiting(QProcess &process)
{
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(patienceMs));
    return parseReply(process.readAllStandardOutput());
}

QStringList DaemonHost::frontEndCommand(const Caller &caller, const QStringList &arguments)
{
    const QString id = QString::number(caller.uid);
    return QStringList{"setpriv", "--reuid", id, "--regid", id, "--clear-groups", "--"} +
           caller.wrapper + QStringList{caller.path} + arguments;
}

QStringList DaemonHost::daemonMessages()
{
    QStringList lines;
    if (QFile::exists(messagesPath)) {
        for (const QString &line : linesOf(messagesPath)) {
            if (!line.startsWith("environVars ") &&
                !line.startsWith("QObject::connect: No such signal QDBusAbstractInterface::")) {
                lines << line;
            }
        }
    }
    return lines;
}

QStringList DaemonHost::daemonOutput()
{
    return linesOf(outputPath);
}

void DaemonHost::setStatusToolOutput(const QByteArray &text)
{
    host::writeFile(statusToolText, text);
}

int DaemonHost::statusToolRuns()
{
    return linesOf(statusToolLog).size();
}
