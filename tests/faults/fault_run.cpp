// SPDX-License-Identifier: MIT
#include "faults/fault_run.h"

#include "faults/system_call_errors.h"
#include "support/host_files.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <map>
#include <tuple>

namespace {

/// The longest that an allowed call takes is twice thirty seconds, for a command.
constexpr int servedWithinMs = 75000;
constexpr int usualMs = 3000;
constexpr int refused = -999;

std::string shown(const std::optional<Reply> &reply)
{
    return reply ? testing::PrintToString(*reply) : "no answer";
}

/// What is wrong with @p reply to a caller in the role of @p scenario; nothing if nothing is.
QString faultOfReply(const Scenario &scenario, const std::optional<Reply> &reply)
{
    const bool mayBeServed = scenario.role == Role::Allowed;
    if (mayBeServed || !reply || reply->status == refused || !reply->error.isEmpty()) {
        return {};
    }
    return QString::fromStdString("the caller is let in: " + shown(reply));
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
                    : !isOld && !(isItsFile && scenario.newContent.startsWith(*file))) {
            return file.key() + " is left with: " + QString::fromUtf8(file->left(200));
        }
    }
    return {};
}

} // namespace

void FaultRun::prepare(const Scenario &scenario)
{
    constexpr int callsOfOneDaemon = 200; // each fault may leave a file open
    if (scenario.isFirstCall || !daemonRuns() || ++callsSinceStart > callsOfOneDaemon) {
        restartDaemon();
        callsSinceStart = 0;
    }
    if (callsSinceStart == 0 && !scenario.isFirstCall) {
        setStatusToolFor(Role::Allowed);
        frontEnds.ask(Role::Allowed, scenario.method, scenario.arguments);
        EXPECT_EQ(frontEnds.answer(Role::Allowed, servedWithinMs), scenario.served);
        callsSinceStart = 1;
    }
    restoreFiles();
    setStatusToolFor(scenario.role);
    threads = daemonThreads(daemon.processId());
}

FaultRun::Outcome FaultRun::callOnce(const Scenario &scenario)
{
    frontEnds.ask(scenario.role, scenario.method, scenario.arguments);
    Outcome outcome;
    outcome.reply = frontEnds.answer(scenario.role, usualMs);
    if (outcome.reply) {
        return outcome;
    }
    // It waits for something, its answer got lost, or the daemon serves nobody.
    ++numbers.slow;
    outcome.daemonServes = serves();
    outcome.reply = frontEnds.answer(scenario.role, outcome.daemonServes ? usualMs : 0);
    if (!outcome.reply) {
        ++numbers.unanswered;
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
    prepare(scenario);
    Strace strace;
    EXPECT_TRUE(strace.watch(threads));
    const Outcome outcome = callOnce(scenario);
    const QList<SeenCall> calls = strace.finish();
    EXPECT_EQ(outcome.reply, scenario.role == Role::Allowed ? scenario.served : Reply{refused});
    return calls;
}

QList<Fault> FaultRun::faultsOf(const Scenario &scenario)
{
    // Which thread makes a call, and how often it waits, is not the same each time: what came in
    // any of these runs is tried.
    constexpr int runs = 3;
    std::map<std::tuple<QString, QString, int>, SeenCall> calls;
    for (int i = 0; i < runs; ++i) {
        std::map<std::pair<pid_t, QString>, int> counts;
        for (const SeenCall &call : watchedCalls(scenario)) {
            QString name = newThreads;
            for (const Thread &thread : qAsConst(threads)) {
                name = thread.id == call.thread ? thread.name : name;
            }
            calls.insert({{name, call.name, ++counts[{call.thread, call.name}]}, call});
        }
    }
    QList<Fault> faults;
    for (const auto &[key, call] : calls) {
        const auto errors = errorsOf(call);
        EXPECT_TRUE(errors) << "in which ways may this fail? " << qPrintable(call.text);
        for (const QString &error : errors.value_or(QStringList())) {
            faults << Fault{std::get<0>(key), std::get<1>(key), std::get<2>(key), error, call.text};
        }
    }
    return faults;
}

bool FaultRun::isReached(const Fault &fault, const QList<SeenCall> &seen) const
{
    return std::any_of(seen.begin(), seen.end(), [&](const SeenCall &call) {
        const auto isThis = [&](const Thread &thread) { return thread.id == call.thread; };
        const bool isNew = std::none_of(threads.begin(), threads.end(), isThis);
        return call.failedOnPurpose && (fault.thread != newThreads || isNew) &&
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
        const bool isAttached = strace.inject(fault, threads);
        const Outcome outcome = callOnce(scenario);
        const QList<SeenCall> seen = strace.finish();
        if (isVerbose) {
            std::printf("%s\n%s\n", host::readFile("/run/strace.out").constData(),
                        shown(outcome.reply).c_str());
        }
        if (!isAttached || !isReached(fault, seen)) {
            continue;
        }
        if (!daemonRuns()) {
            report(scenario, fault, "the daemon has ended");
            return;
        }
        const QString replyFault = faultOfReply(scenario, outcome.reply);
        const QString filesFault =
            faultOfFiles(scenario, outcome.reply, currentFiles(), originalFiles());
        for (const QString &text : {replyFault, filesFault}) {
            if (!text.isEmpty()) {
                report(scenario, fault, text);
            }
        }
        if (outcome.daemonServes) {
            checkNextCall(scenario, fault);
        } else {
            report(scenario, fault, "neither this call nor another one is answered");
            restartDaemon();
        }
        return;
    }
    ++numbers.notReached;
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
        restartDaemon();
    } else if (!(*reply == scenario.served) || currentFiles() != expected) {
        report(scenario, fault, QString::fromStdString("the next call gets " + shown(reply)));
        restartDaemon();
    }
}

void FaultRun::report(const Scenario &scenario, const Fault &fault, const QString &text)
{
    ++numbers.findings;
    ADD_FAILURE() << "FINDING " << qPrintable(scenario.name) << ": " << qPrintable(text)
                  << "\n  thread " << qPrintable(fault.thread) << ", strace "
                  << qPrintable(Strace::options(fault).join(' ')) << "\n  of "
                  << qPrintable(fault.sample.left(200)) << "\n  again: scripts/faults "
                  << qPrintable(scenario.name) << " '" << qPrintable(fault.id()) << "'";
}
