// SPDX-License-Identifier: MIT
#include "faults/tracing.h"

#include "support/host_files.h"
#include "support/wait_for.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr const char *outputPath = "/run/strace.out";

QString procPath(pid_t process, const QString &entry)
{
    return QString("/proc/%1/%2").arg(process).arg(entry);
}

/// The content of a file of /proc; empty when the process is gone.
QString procText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed() : QString();
}

QList<pid_t> tasksOf(pid_t process)
{
    QList<pid_t> tasks;
    for (const QString &name : QDir(procPath(process, "task")).entryList(QDir::Dirs)) {
        if (const pid_t task = name.toInt(); task > 0) {
            tasks << task;
        }
    }
    std::sort(tasks.begin(), tasks.end());
    return tasks;
}

void addThreads(QList<Thread> &threads, pid_t process, const QString &processName)
{
    const QString program = QFile::symLinkTarget(procPath(process, "exe"));
    int children = 0;
    for (const pid_t task : tasksOf(process)) {
        QString name = processName;
        if (task != process) {
            name += ':' + procText(procPath(task, "comm"));
        }
        const auto isTaken = [&](const Thread &thread) { return thread.name == name; };
        while (std::any_of(threads.begin(), threads.end(), isTaken)) {
            name += '+';
        }
        threads << Thread{task, name};
        const QString list = procText(procPath(process, QString("task/%1/children").arg(task)));
        for (const QString &child : list.split(' ', Qt::SkipEmptyParts)) {
            if (QFile::symLinkTarget(procPath(child.toInt(), "exe")) == program) {
                addThreads(threads, child.toInt(),
                           processName + QString("/child%1").arg(++children));
            }
        }
    }
}

FileKind kindOfDescriptor(const QString &shown)
{
    if (shown.startsWith("/proc/")) {
        return FileKind::Proc;
    }
    if (shown.startsWith("pipe:")) {
        return FileKind::Pipe;
    }
    if (shown.contains("eventfd")) {
        return FileKind::EventFd;
    }
    if (shown.startsWith("UNIX-DGRAM")) {
        return FileKind::Datagram;
    }
    static const QRegularExpression socket("^(socket|UNIX|NETLINK|TCP|UDP)");
    if (socket.match(shown).hasMatch()) {
        return FileKind::Socket;
    }
    const bool isDevice = shown.startsWith("/dev/") || shown.contains("<char ");
    return shown.startsWith('/') && !isDevice ? FileKind::Regular : FileKind::Other;
}

/// Sets the kind and the path of the first file among the arguments of @p call.
void setFile(SeenCall &call)
{
    static const QRegularExpression descriptor(R"(\((\d+)<(.*?)>+[,)])");
    static const QRegularExpression path(R"re(\((?:AT_FDCWD<[^>]*>, )?"([^"]*)")re");
    if (const auto open = descriptor.match(call.text); open.hasMatch()) {
        call.kind = kindOfDescriptor(open.captured(2));
        call.path = call.kind == FileKind::Regular ? open.captured(2) : QString();
    } else if (const auto named = path.match(call.text); named.hasMatch()) {
        const bool isProc = named.captured(1).startsWith("/proc/");
        call.kind = isProc ? FileKind::Proc : FileKind::Regular;
        call.path = isProc ? QString() : named.captured(1);
    }
}

} // namespace

QList<Thread> daemonThreads(qint64 daemon)
{
    QList<Thread> threads;
    addThreads(threads, static_cast<pid_t>(daemon), "daemon");
    return threads;
}

QList<SeenCall> seenCalls(const QByteArray &written, pid_t onlyThread)
{
    static const QRegularExpression beginning(R"(^(?:(\d+) +)?([a-z_][a-z0-9_]*)\()");
    static const QRegularExpression rest(R"(^(?:(\d+) +)?<\.\.\. [a-z_0-9]+ resumed>)");
    QList<SeenCall> calls;
    for (const QString &text : QString::fromUtf8(written).split('\n')) {
        const auto threadIn = [&](const QRegularExpressionMatch &match) {
            return match.captured(1).isEmpty() ? onlyThread : match.captured(1).toInt();
        };
        const bool isInjected = text.contains("(INJECTED)");
        if (const auto match = beginning.match(text); match.hasMatch()) {
            SeenCall call;
            call.thread = threadIn(match);
            call.name = match.captured(2);
            call.text = text;
            call.failedOnPurpose = isInjected;
            setFile(call);
            calls << call;
        } else if (const auto end = rest.match(text); end.hasMatch() && isInjected) {
            const auto call = std::find_if(calls.rbegin(), calls.rend(), [&](const SeenCall &each) {
                return each.thread == threadIn(end);
            });
            if (call != calls.rend()) {
                call->failedOnPurpose = true;
            }
        }
    }
    return calls;
}

QString Fault::id() const
{
    const QString outcome = error.contains('=') ? error : "error=" + error;
    const QString id = QString("%1 %2:%3:when=%4").arg(thread, call, outcome).arg(number);
    return path.isEmpty() ? id : id + " of " + path;
}

bool Strace::watch(const QList<Thread> &threads)
{
    return attach({"-f", "-b", "execve"}, threads);
}

QStringList Strace::options(const Fault &fault)
{
    QStringList options;
    if (fault.thread == newThreads) {
        options << "-f"
                << "-b"
                << "execve";
    }
    if (!fault.path.isEmpty()) {
        options << "-P" << fault.path;
    }
    const QString injection = fault.id().section(' ', 1, 1);
    return options << "-e"
                   << "trace=" + fault.call << "-e"
                   << "inject=" + injection;
}

bool Strace::inject(const Fault &fault, const QList<Thread> &threads)
{
    if (fault.thread == newThreads) {
        return attach(options(fault), threads);
    }
    for (const Thread &thread : threads) {
        if (thread.name == fault.thread) {
            return attach(options(fault), {thread});
        }
    }
    return false;
}

bool Strace::attach(const QStringList &options, const QList<Thread> &threads)
{
    host::writeFile(outputPath, {});
    onlyThread = threads.first().id;
    // -s shortens texts, except for paths; -yy shows the file behind each descriptor.
    QStringList arguments{"-yy", "-s", "64", "-o", outputPath};
    arguments += options;
    const bool follows = options.contains("-f");
    QStringList expected;
    for (const Thread &thread : threads) {
        // With -f, the first thread of a process stands for all of them.
        if (!follows || !thread.name.contains(':')) {
            arguments << "-p" << QString::number(thread.id);
            expected << QString("Process %1 attached").arg(thread.id);
        }
    }
    strace.start("strace", arguments);
    QByteArray messages;
    const bool isAttached = waitFor([&] {
        strace.waitForReadyRead(20);
        messages += strace.readAllStandardError();
        return strace.state() == QProcess::NotRunning ||
               std::all_of(expected.begin(), expected.end(),
                           [&](const QString &text) { return messages.contains(text.toUtf8()); });
    });
    EXPECT_TRUE(isAttached && strace.state() == QProcess::Running)
        << qPrintable(arguments.join(' ')) << "\n"
        << messages.constData();
    return isAttached;
}

QList<SeenCall> Strace::finish()
{
    strace.terminate();
    strace.waitForFinished(patienceMs);
    return seenCalls(host::readFile(outputPath), onlyThread);
}
