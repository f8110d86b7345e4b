// SPDX-License-Identifier: MIT
//
// Measures bus calls to the daemon and to minimal services. This program is installed at the path
// of a front end.
//
//   calls                         prints the rows of the table about calls
//   calls start DAEMON REFERENCE  prints the row that compares the starts of two programs
//   calls one STATUS              prints the mean duration in seconds of a call that returns STATUS
//   calls environment KIB         prints a row about calls with an environment of KIB KiB
//   calls older ADDRESS           prints the rows that compare the daemon with an older daemon,
//                                 which is on the bus at ADDRESS
//   calls older ADDRESS KIB       prints the same rows for calls with an environment of KIB KiB
#include "bench.h"
#include "dbus/bus_names.h"
#include "dbus/detect_type.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QEventLoop>
#include <QFile>
#include <QProcess>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int rounds = 15;
constexpr int callsInARound = 100;

using IsExpected = std::function<bool(const QDBusMessage &reply)>;

IsExpected statusIs(int status)
{
    return [status](const QDBusMessage &reply) { return reply.arguments().value(0) == status; };
}

/// Returns an action that makes one round of calls. An unexpected reply ends the program.
bench::Action roundOf(const QDBusMessage &message, const IsExpected &isExpected,
                      const QDBusConnection &bus = QDBusConnection::systemBus())
{
    return [message, isExpected, bus] {
        for (int call = 0; call < callsInARound; ++call) {
            const auto reply = bus.call(message);
            if (!isExpected(reply)) {
                std::fprintf(stderr, "%s: %s\n", qPrintable(message.member()),
                             qPrintable(reply.errorMessage()));
                std::exit(1);
            }
        }
    };
}

QDBusMessage callOf(const char *method, const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        halvex::busName, halvex::objectPath, QString("%1.%1").arg(QLatin1String(halvex::busName)),
        method);
    message.setArguments(arguments);
    return message;
}

/// A call that reads a setting, and a call that writes the value that the setting already has.
struct SettingsCalls
{
    QDBusMessage reading;
    QDBusMessage change;
};

std::vector<SettingsCalls> settingsCalls()
{
    const QVariant type = QVariant::fromValue(DetectType());
    return {{callOf("getNotifyConfig"), callOf("setNotifyConfig", {"0", "30", "1"})},
            {callOf("getInterventionConfig", {"block", "timeout"}),
             callOf("setInterventionConfig", {"block", "timeout", "30"})},
            {callOf("getAiConfig", {type, "detect.threshold"}),
             callOf("setAiConfig", {type, "detect.threshold", "80"})}};
}

QDBusMessage callOfBareService(const char *name)
{
    return QDBusMessage::createMethodCall(name, "/bench", "bench.bare", "getEventTotalCount");
}

/// Returns the message that asks polkit whether the process of an ordinary user may do an
/// administrator's action. Other daemons ask this question.
QDBusMessage authorizationOf(pid_t process, int user)
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        "org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
        "org.freedesktop.PolicyKit1.Authority", "CheckAuthorization");
    QDBusArgument subject;
    subject.beginStructure();
    subject << QString("unix-process")
            << QVariantMap{{"pid", uint(process)}, {"uid", user}, {"start-time", qulonglong(0)}};
    subject.endStructure();
    QDBusArgument noDetails;
    noDetails.beginMap(QMetaType::QString, QMetaType::QString);
    noDetails.endMap();
    message.setArguments({QVariant::fromValue(subject), "org.freedesktop.policykit.exec",
                          QVariant::fromValue(noDetails), uint(0), ""});
    return message;
}

/// Starts a process of the user @p user, which runs until this process exits.
pid_t startProcessOf(int user)
{
    int untilTheEnd[2];
    if (pipe(untilTheEnd) != 0) {
        std::exit(1);
    }
    const pid_t process = fork();
    if (process == 0) {
        close(untilTheEnd[1]);
        char byte = 0;
        _exit(setuid(uid_t(user)) == 0 && read(untilTheEnd[0], &byte, 1) == 0 ? 0 : 1);
    }
    return process;
}

void printRows()
{
    const auto call = roundOf(callOf("getEventTotalCount"), statusIs(0));
    bench::compare("100 calls of getEventTotalCount, against a bare QtDBus service", rounds, call,
                   roundOf(callOfBareService("bench.bare"), statusIs(0)), "1.05");
    bench::compare("100 calls of getEventTotalCount, against a bare sd-bus service in C", rounds,
                   call, roundOf(callOfBareService("bench.sdbus"), statusIs(0)), "1.15");
    constexpr int nobody = 65534;
    bench::compare(
        "100 calls of getEventTotalCount, against polkit's CheckAuthorization", rounds, call,
        roundOf(authorizationOf(startProcessOf(nobody), nobody),
                [](const QDBusMessage &reply) { return reply.signature() == "(bba{ss})"; }),
        "0.85");
    bench::compare(
        "100 calls of getEventTotalCount, against popen of the status tool alone", rounds, call,
        [] {
            for (int i = 0; i < callsInARound; ++i) {
                std::FILE *tool = popen("/usr/sbin/getstatus", "re");
                std::array<char, 1024> line{};
                while (std::fgets(line.data(), line.size(), tool) != nullptr) {
                }
                pclose(tool);
            }
        },
        "");
    for (const auto &[reading, change] : settingsCalls()) {
        const QString what = "100 calls of " + change.member() + ", against " + reading.member();
        bench::compare(qPrintable(what), rounds, roundOf(change, statusIs(0)),
                       roundOf(reading, statusIs(0)), "1.15");
    }
}

/// Prints the rows that compare calls with the same calls to an older daemon on the bus at
/// @p address.
void printRowsAgainstOlder(const QString &address, const QString &circumstances)
{
    const auto olderBus = QDBusConnection::connectToBus(address, "older");
    const auto compareCalls = [&](const QDBusMessage &call, const char *goal) {
        const QString what =
            "100 calls of " + call.member() + circumstances + ", against an older daemon";
        bench::compare(qPrintable(what), rounds, roundOf(call, statusIs(0)),
                       roundOf(call, statusIs(0), olderBus), goal);
    };
    compareCalls(callOf("getEventTotalCount"), "1.03");
    for (const auto &[reading, change] : settingsCalls()) {
        compareCalls(reading, "1.03");
        compareCalls(change, "1.10");
    }
}

/// Prints the row that compares the starts of the two programs. A start ends when the program owns
/// its bus name.
void printRowOfStarts(const QString &daemon, const QString &reference)
{
    QEventLoop loop;
    QDBusServiceWatcher watcher;
    watcher.setConnection(QDBusConnection::systemBus());
    watcher.setWatchMode(QDBusServiceWatcher::WatchForRegistration);
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceRegistered, &loop, &QEventLoop::quit);
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    const auto startOf = [&](const QString &program) {
        return [&process, &loop, program] {
            process.start(program, QStringList());
            loop.exec();
        };
    };
    watcher.setWatchedServices({halvex::busName, "bench.bare"});
    bench::compare("start to owned name, against a bare QtDBus service", rounds, startOf(daemon),
                   startOf(reference), "1.2", [&process] {
                       process.kill();
                       process.waitForFinished();
                   });
    process.kill();
    process.waitForFinished();
}

/// Prints the mean duration of a call that returns @p status.
void printSecondsOfOne(int status)
{
    const double seconds =
        bench::secondsOf(roundOf(callOf("getEventTotalCount"), statusIs(status)));
    std::printf("%.9f\n", seconds / callsInARound);
}

/// Executes this program again with an environment of @p size KiB, with ten variables for each KiB.
/// A no-op if this was done before.
void ensureEnvironmentOf(int size, char **arguments)
{
    if (qEnvironmentVariableIsSet("VARIABLE0")) {
        return;
    }
    std::vector<std::string> variables;
    for (int i = 0; i < size * 10; ++i) {
        std::string variable = "VARIABLE" + std::to_string(i) + '=';
        variable.resize(i % 10 < 4 ? 102 : 101, 'x'); // ten, with their NULs: 1,024 bytes
        variables.push_back(variable);
    }
    std::vector<char *> environment;
    for (std::string &variable : variables) {
        environment.push_back(variable.data());
    }
    environment.push_back(nullptr);
    execve("/proc/self/exe", arguments, environment.data());
    std::perror("execve");
    std::exit(1);
}

void printRowOfEnvironment(int size)
{
    const std::string what =
        "100 calls with an environment of " + std::to_string(size) + " KiB, against reading it";
    bench::compare(
        what.c_str(), rounds, roundOf(callOf("getEventTotalCount"), statusIs(0)),
        [] {
            for (int i = 0; i < callsInARound; ++i) {
                QFile environment("/proc/self/environ");
                if (!environment.open(QIODevice::ReadOnly) || environment.readAll().isEmpty()) {
                    std::exit(1);
                }
            }
        },
        "linear");
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    halvex::registerDetectType();
    if (arguments.value(1) == "start") {
        printRowOfStarts(arguments.value(2), arguments.value(3));
    } else if (arguments.value(1) == "one") {
        printSecondsOfOne(arguments.value(2).toInt());
    } else if (arguments.value(1) == "environment") {
        const int size = arguments.value(2).toInt();
        ensureEnvironmentOf(size, argv);
        printRowOfEnvironment(size);
    } else if (arguments.value(1) == "older" && arguments.size() == 4) {
        ensureEnvironmentOf(arguments[3].toInt(), argv);
        printRowsAgainstOlder(arguments[2], " with " + arguments[3] + " KiB of environment");
    } else if (arguments.value(1) == "older") {
        printRowsAgainstOlder(arguments.value(2), "");
    } else {
        printRows();
    }
    return 0;
}
