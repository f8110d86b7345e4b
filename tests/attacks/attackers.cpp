// SPDX-License-Identifier: MIT
#include "attacks/attackers.h"

#include "support/host_files.h"
#include "support/machine_deadline.h"
#include "support/printing.h"
#include "support/wait_for.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

constexpr const char *directory = "/srv/attackers/";
constexpr const char *mountPoint = "/srv/hanging";

/// Ends the children of @p process, some of which may keep it from running, and then @p process.
void end(QProcess &process)
{
    const auto pid = process.processId();
    const QString children = QString("/proc/%1/task/%1/children").arg(pid);
    if (pid != 0 && QFile::exists(children)) {
        for (const QByteArray &child : host::readFile(children).split(' ')) {
            if (child.toInt() > 0) {
                kill(child.toInt(), SIGKILL);
            }
        }
    }
    process.kill();
    process.waitForFinished();
}

} // namespace

Attackers::Attackers()
{
    for (const char *program :
         {"blocked-write", "early-signals", "flood", "hanging-file", "late-calls",
          "overlay-program", "slow-log", "stuck-process", "unread-replies"}) {
        host::writeFile(QString(directory) + program,
                        host::readFile(QString(ATTACKERS "/") + program), 0755);
    }
    EXPECT_TRUE(QDir().mkpath(mountPoint));
    if (!QFile::exists("/dev/fuse")) {
        EXPECT_EQ(mknod("/dev/fuse", S_IFCHR, makedev(10, 229)), 0);
    }
    EXPECT_EQ(chmod("/dev/fuse", 0666), 0);
}

QProcess &Attackers::start(const QStringList &command, unsigned uid)
{
    return startCommand(QStringList{directory + command.first()} + command.mid(1), uid);
}

QProcess &Attackers::startAsFrontEnd(const QStringList &command, unsigned uid)
{
    const QString place = "/usr/sbin/halvex-desktop";
    const QByteArray program = host::readFile(directory + command.first());
    if (host::readFile(place) != program) { // a running program cannot be written to
        host::writeFile(place, program, 0755);
    }
    return startCommand(QStringList{place} + command.mid(1), uid);
}

QStringList Attackers::run(const QStringList &command, unsigned uid)
{
    QProcess &process = start(command, uid);
    EXPECT_TRUE(process.waitForFinished(patienceMs)) << qPrintable(command.join(' '));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
    return QString::fromUtf8(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
}

QProcess &Attackers::startHangingFile(unsigned uid)
{
    EXPECT_EQ(chown(mountPoint, uid, uid), 0);
    QProcess &process = start({"hanging-file", mountPoint}, uid);
    files.push_back(std::move(processes.back()));
    processes.pop_back();
    EXPECT_EQ(linesUntil(process, "ready", patienceMs), QStringList())
        << process.readAllStandardError().constData();
    return process;
}

QProcess &Attackers::startCommand(const QStringList &command, unsigned uid)
{
    const QString id = QString::number(uid);
    processes.push_back(std::make_unique<QProcess>());
    QProcess &process = *processes.back();
    process.setEnvironment({"PATH=/usr/sbin:/usr/bin:/sbin:/bin"});
    process.start("setpriv",
                  QStringList{"--reuid", id, "--regid", id, "--clear-groups", "--"} + command);
    EXPECT_TRUE(process.waitForStarted(patienceMs)) << qPrintable(process.errorString());
    return process;
}

void Attackers::endAll()
{
    for (auto *group : {&files, &processes}) {
        for (const auto &process : *group) {
            end(*process);
        }
        group->clear();
    }
}

QStringList linesUntil(QProcess &process, const QString &last, int timeoutMs)
{
    MachineDeadline deadline(timeoutMs);
    QStringList lines;
    for (;;) {
        while (process.canReadLine()) {
            const QString line = QString::fromUtf8(process.readLine()).trimmed();
            if (line == last) {
                return lines;
            }
            lines << line;
        }
        const bool isThere = process.waitForReadyRead(MachineDeadline::stepMs);
        if (!isThere && !process.canReadLine() &&
            (process.state() == QProcess::NotRunning || deadline.hasExpired())) {
            return lines << "no " + last;
        }
    }
}
