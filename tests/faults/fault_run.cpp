// SPDX-License-Identifier: MIT
#include "faults/fault_run.h"

#include "faults/system_call_errors.h"
#include "support/host_files.h"
#include "support/wait_for.h"

#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cstdio>
#include <map>
#include <tuple>

namespace {

/// One failure delays a call for thirty seconds at most: a command then reaches one of its two time
/// limits, for its start or for its exit.
constexpr int servedWithinMs = 35000;
constexpr int usualMs = 3000;
constexpr int refused = -999;

std::string shown(const std::optional<Reply> &reply)
{
    return reply ? testing::PrintToString(*reply) : "no answer";
}

/// Whether calls like @p call are numbered separately for each file. The number of a call is then
/// the same in each run, although the count of calls on other files, such as pipes, may differ.
bool isCountedByFile(const SeenCall &call)
{
    static const QSet<QString> names{"access", "close",    "fstat", "lseek", "newfstatat",
                                     "openat", "readlink", "read",  "statx", "write"};
    return call.kind == FileKind::Regular && names.contains(call.name);
}

Reply usualReply(const Scenario &scenario, Role role)
{
    const QStringList emptyTexts = QVector<QString>(scenario.served.texts.size(), "").toList();
    return role == Role::Allowed ? scenario.served : Reply{refused, emptyTexts};
}

/// Whether @p fault looks as if root were not permitted to see the caller's executable. The daemon
/// then judges by the caller's argv[0].
bool hidesExecutable(const Scenario &scenario, const Fault &fault)
{
    static const QRegularExpression link("/proc/\\d+/exe\"");
    return scenario.role == Role::OtherProgram && fault.sample.contains(link) &&
           (fault.error == "EACCES" || fault.error == "ENOENT");
}

/// What is wrong with @p reply to a caller in the role of @p scenario; empty if it is right.
QString faultOfReply(const Scenario &scenario, const std::optional<Reply> &reply)
{
    const bool mayBeServed = scenario.role == Role::Allowed;
    if (mayBeServed || !reply || reply->status == refused || !reply->error.isEmpty()) {
        return {};
    }
    return QString::fromStdString("the caller is accepted: " + shown(reply));
}

/// Whether the bus library takes @p fault for the loss of a connection to the bus. The daemon then
/// asks the service manager to restart it, but this host has no service manager.
bool endsConnection(const Fault &fault)
{
    return fault.call == "sendmsg" && (fault.error == "ENOBUFS" || fault.error == "ENOMEM");
}

/// Whether @p reply shows that the daemon has lost its main connection or the gate's connection.
bool isOfALostConnection(const Reply &reply)
{
    return reply.error == "org.freedesktop.DBus.Error.ServiceUnknown" || reply.status == -999;
}

/// Whether @p content is the beginning of @p whole. In the export, a log that was read only in part
/// is cut off anywhere, and then ended by a line feed.
bool isCutOff(const QString &path, const QByteArray &content, const QByteArray &whole)
{
    if (path != exportPath) {
        return whole.startsWith(content);
    }
    const QByteArray line = whole.left(whole.indexOf('\n'));
    const QList<QByteArray> lines = content.split('\n');
    return lines.size() <= whole.count('\n') + 1 &&
           std::all_of(lines.begin(), lines.end(),
                       [&](const QByteArray &each) { return line.startsWith(each); });
}

/// What is wrong with @p files after the call that was answered with @p reply.
QString faultOfFiles(const Scenario &scenario, const std::optional<Reply> &reply,
                     const Files &files, const Files &before)
{
    const bool mayChange = scenario.role == Role::Allowed;
    for (auto file = files.begin(); file != files.end(); ++file) {
        const bool isOld = *file == before[file.key()];
        const bool isItsFile = mayChange && file.key() == scenario.changedFile;
        const bool isSaved = isItsFile && scenario.saysWhetherSaved && reply && reply->status == 0;
        if (isSaved ? *file != scenario.newContent
                    : !isOld && !(isItsFile && isCutOff(file.key(), *file, scenario.newContent))) {
            return file.key() +
                   " is left with: " + QString::fromUtf8(file->left(100)).replace('\n', "\\n");
        }
    }
    return {};
}

} // namespace

void FaultRun::prepare(const Scenario &scenario)
{
    constexpr int callsOfOneDaemon = 200; // each fault may leave a file open
    if (scenario.isFirstCall || !daemonRuns() || ++callsOfDaemon > callsOfOneDaemon) {
        startAgain();
    }
    if (isCold && !scenario.isFirstCall) {
        warmUp(scenario);
    }
    restoreFiles();
    setStatusToolFor(scenario.role);
    threads = daemonThreads(daemon.processId());
}

void FaultRun::startAgain()
{
    restartDaemon();
    callsOfDaemon = 0;
    isCold = true;
}

void FaultRun::warmUp(const Scenario &scenario)
{
    // The first calls do more than those that follow.
    constexpr int firstCalls = 3;
    for (const Role role : {Role::Allowed, scenario.role}) {
        setStatusToolFor(role);
        for (int i = 0; i < firstCalls; ++i) {
            // On a loaded machine, the gate may give up reading a caller.
            EXPECT_TRUE(waitFor([&] {
                restoreFiles();
                frontEnds.ask(role, scenario.method, scenario.arguments);
                return frontEnds.answer(role, servedWithinMs) == usualReply(scenario, role);
            }));
        }
    }
    isCold = false;
}

FaultRun::Outcome FaultRun::callOnce(const Scenario &scenario)
{
    frontEnds.ask(scenario.role, scenario.method, scenario.arguments);
    Outcome outcome;
    outcome.reply = frontEnds.answer(scenario.role, usualMs);
    if (outcome.reply) {
        return outcome;
    }
    // The call waits for something, or its answer is lost, or the daemon serves nobody.
    outcome.wasSlow = true;
    outcome.daemonServes = serves();
    outcome.reply = frontEnds.answer(scenario.role, outcome.daemonServes ? usualMs : 0);
    if (!outcome.reply) {
        frontEnds.giveUp(scenario.role);
    }
    return outcome;
}

bool FaultRun::serves()
{
    frontEnds.ask(Role::Bystander, "getEventTotalCount", {});
    const auto reply = frontEnds.answer(Role::Bystander, servedWithinMs);
    if (!reply) {
        frontEnds.giveUp(Role::Bystander);
    }
    return reply && reply->error.isEmpty();
}

QList<SeenCall> FaultRun::watchedCalls(const Scenario &scenario)
{
    Outcome outcome;
    QList<SeenCall> calls;
    // On a loaded machine, the gate may give up reading a caller.
    const bool isUsual = waitFor([&] {
        prepare(scenario);
        Strace strace;
        EXPECT_TRUE(strace.watch(threads));
        outcome = callOnce(scenario);
        calls = strace.finish();
        return outcome.reply == usualReply(scenario, scenario.role);
    });
    QString trace;
    for (const SeenCall &call : calls) {
        trace += call.text + '\n';
    }
    EXPECT_TRUE(isUsual) << shown(outcome.reply) << '\n' << qPrintable(trace);
    return calls;
}

QList<Fault> FaultRun::faultsOf(const Scenario &scenario)
{
    // Runs differ in which thread makes a call, and in how often a thread waits. Every call that
    // was seen in one of these runs is tried.
    constexpr int runs = 3;
    std::map<std::tuple<QString, QString, QString, int>, SeenCall> calls;
    for (int i = 0; i < runs; ++i) {
        std::map<std::tuple<pid_t, QString, QString>, int> counts;
        for (const SeenCall &call : watchedCalls(scenario)) {
            const QString thread = nameOf(call.thread);
            const QString path = isCountedByFile(call) ? call.path : QString();
            const int number = ++counts[{call.thread, call.name, path}];
            calls.insert({{thread, call.name, path, number}, call});
        }
    }
    QList<Fault> faults;
    for (const auto &[key, call] : calls) {
        const auto errors = errorsOf(call);
        EXPECT_TRUE(errors) << "system_call_errors.cpp does not list the errors of "
                            << qPrintable(call.text);
        const auto &[thread, name, path, number] = key;
        for (const QString &error : errors.value_or(QStringList())) {
            const Fault fault{thread, name, path, number, error, call.text};
            if (!hidesExecutable(scenario, fault)) {
                faults << fault;
            }
        }
    }
    return faults;
}

QString FaultRun::nameOf(pid_t id) const
{
    const auto isThis = [&](const Thread &thread) { return thread.id == id; };
    const auto found = std::find_if(threads.begin(), threads.end(), isThis);
    return found == threads.end() ? newThreads : found->name;
}

bool FaultRun::isReached(const Fault &fault, const QList<SeenCall> &seen) const
{
    return std::any_of(seen.begin(), seen.end(), [&](const SeenCall &call) {
        return call.failedOnPurpose && nameOf(call.thread) == fault.thread &&
               errorsOf(call).value_or(QStringList()).contains(fault.error);
    });
}

void FaultRun::tryFault(const Scenario &scenario, const Fault &fault)
{
    constexpr int attempts = 3;
    ++numbers.faults;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        prepare(scenario);
        Strace strace;
        threads = daemonThreads(daemon.processId()); // some may have been replaced
        const bool isAttached = strace.inject(fault, threads);
        const Outcome outcome = callOnce(scenario);
        const QList<SeenCall> seen = strace.finish();
        if (isVerbose) {
            std::printf("%s\n%s\n", host::readFile("/run/strace.out").constData(),
                        shown(outcome.reply).c_str());
        }
        if (isAttached && isReached(fault, seen)) {
            check(scenario, fault, outcome);
            return;
        }
        if (!outcome.daemonServes || !daemonRuns()) {
            startAgain();
        }
    }
    ++numbers.notReached;
    std::printf("NOT REACHED %s: %s, of %s\n", qPrintable(scenario.name), qPrintable(fault.id()),
                qPrintable(fault.sample.left(100)));
}

void FaultRun::check(const Scenario &scenario, const Fault &fault, const Outcome &outcome)
{
    if (outcome.wasSlow) {
        ++numbers.slow;
        std::printf("SLOW %s: %s, with the answer %s\n", qPrintable(scenario.name),
                    qPrintable(fault.id()), shown(outcome.reply).c_str());
    }
    const QString replyFault = faultOfReply(scenario, outcome.reply);
    const QString filesFault =
        faultOfFiles(scenario, outcome.reply, currentFiles(), originalFiles());
    for (const QString &text : {replyFault, filesFault}) {
        if (!text.isEmpty()) {
            report(scenario, fault, text);
        }
    }
    if (!daemonRuns()) {
        report(scenario, fault, "the daemon has exited");
        startAgain();
    } else if (!outcome.daemonServes) {
        report(scenario, fault, "neither this call nor another one is answered");
        startAgain();
    } else {
        checkNextCall(scenario, fault);
    }
}

void FaultRun::checkNextCall(const Scenario &scenario, const Fault &fault)
{
    setStatusToolFor(Role::Allowed);
    restoreFiles();
    frontEnds.ask(Role::Allowed, scenario.method, scenario.arguments);
    const auto reply = frontEnds.answer(Role::Allowed, servedWithinMs);
    Files expected = originalFiles();
    if (!scenario.changedFile.isEmpty()) {
        expected[scenario.changedFile] = scenario.newContent;
    }
    if (!reply) {
        report(scenario, fault, "the next call is not answered");
        frontEnds.giveUp(Role::Allowed);
        startAgain();
    } else if (endsConnection(fault) && isOfALostConnection(*reply)) {
        startAgain(); // as the service manager does when the daemon asks for it
    } else if (!(*reply == scenario.served) || currentFiles() != expected) {
        report(scenario, fault, QString::fromStdString("the next call gets " + shown(reply)));
        startAgain();
    }
}

void FaultRun::report(const Scenario &scenario, const Fault &fault, const QString &text)
{
    ++numbers.findings;
    ADD_FAILURE() << "FINDING " << qPrintable(scenario.name) << ": " << qPrintable(text)
                  << "\n  thread " << qPrintable(fault.thread) << ", strace "
                  << qPrintable(Strace::options(fault).join(' ')) << "\n  call "
                  << qPrintable(fault.sample.left(200)) << "\n  to repeat: scripts/faults "
                  << qPrintable(scenario.name) << " '" << qPrintable(fault.id()) << "'";
}
