// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"

#include "support/host_files.h"
#include "support/wait_for.h"

#include <QDir>
#include <QFile>

#include <cstdio>

namespace {

constexpr const char *outputPath = "/run/daemon.out";
constexpr const char *busMessagesPath = "/run/bus.err";
constexpr const char *messagesPath = "/run/daemon.err";

QStringList linesOf(const char *path)
{
    const QByteArray text = QFile::exists(path) ? host::readFile(path) : QByteArray();
    return QString::fromUtf8(text).split('\n', Qt::SkipEmptyParts);
}

void reloadPolicies()
{
    ASSERT_EQ(host::run({"dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus",
                         "/org/freedesktop/DBus", "org.freedesktop.DBus.ReloadConfig"})
                  .exitCode,
              0);
}

} // namespace

void DaemonHost::SetUp()
{
    SuiteHost::SetUp();
    host::writeFile("/etc/dbus-1/system.d/com.norva.halvex.desktop.conf",
                    host::readFile(BUS_POLICY));

    if (QFile::exists("/run/dbus/system_bus_socket")) {
        // A booted host already runs a bus: make it load the policy.
        reloadPolicies();
        return;
    }
    ASSERT_TRUE(QDir().mkpath("/run/dbus"));
    ASSERT_EQ(host::run({"dbus-uuidgen", "--ensure"}).exitCode, 0);
    // The bus writes a message about every call that it refuses. Use a file: a pipe that is not
    // read would fill up and block the bus.
    bus.setStandardErrorFile(busMessagesPath);
    bus.start("dbus-daemon",
              {"--system", "--nofork", "--nopidfile", "--nosyslog", "--print-address"});
    ASSERT_TRUE(bus.waitForReadyRead(patienceMs)) << host::readFile(busMessagesPath).constData();
}

void DaemonHost::TearDown()
{
    if (daemon.state() != QProcess::NotRunning || daemonMayEnd) {
        stopDaemon();
    } else {
        ADD_FAILURE() << "the daemon no longer runs";
    }
    if (HasFailure()) {
        std::printf("The daemon's messages:\n%s\nIts output:\n%s\n",
                    qPrintable(daemonMessages().join('\n')), qPrintable(daemonOutput().join('\n')));
    }
    for (const QString &line : daemonMessages()) {
        EXPECT_FALSE(line.contains("ERROR: AddressSanitizer") || line.contains("runtime error:"))
            << qPrintable(daemonMessages().join('\n'));
    }
    bus.kill();
    bus.waitForFinished();
}

void DaemonHost::overridePolicy()
{
    // The bus reads this file after those of the single services.
    host::writeFile("/etc/dbus-1/system-local.conf",
                    "<busconfig><policy context=\"mandatory\">"
                    "<allow send_destination=\"com.norva.halvex.desktop\"/>"
                    "<allow send_destination=\"com.norva.halvex.desktop.gate\"/>"
                    "<allow send_destination=\"com.norva.halvex.desktop.start\"/>"
                    "<allow receive_type=\"signal\"/></policy></busconfig>\n");
    reloadPolicies();
}

void DaemonHost::startDaemon(const QStringList &environment, const QStringList &wrapper)
{
    ASSERT_NO_FATAL_FAILURE(launchDaemon(environment, wrapper));
    awaitDaemon();
}

void DaemonHost::launchDaemon(const QStringList &environment, const QStringList &wrapper)
{
    host::writeFile(outputPath, {});
    host::writeFile(messagesPath, {});
    daemon.setStandardOutputFile(outputPath);
    daemon.setStandardErrorFile(messagesPath);
    daemon.setEnvironment(withSanitizerOptions(environment));
    const QStringList command = wrapper + QStringList{DAEMON} + daemonArguments;
    daemon.start(command.first(), command.mid(1));
    ASSERT_TRUE(daemon.waitForStarted(patienceMs)) << qPrintable(daemon.errorString());
}

void DaemonHost::awaitDaemon()
{
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
    // On SIGTERM, a build with coverage counters writes them to disk, unless the daemon hangs.
    if (qEnvironmentVariableIsSet("GCOV_PREFIX")) {
        daemon.terminate();
        if (daemon.waitForFinished(5000)) {
            return;
        }
    }
    daemon.kill();
    daemon.waitForFinished();
}

QStringList DaemonHost::daemonMessages()
{
    QStringList lines;
    for (const QString &line : linesOf(messagesPath)) {
        if (!line.startsWith("environVars ")) {
            lines << line;
        }
    }
    return lines;
}

QStringList DaemonHost::daemonOutput()
{
    return linesOf(outputPath);
}
