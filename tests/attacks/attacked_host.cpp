// SPDX-License-Identifier: MIT
#include "attacks/attacked_host.h"

#include "support/host_files.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>

namespace {

/// How many threads the process @p pid and its descendants have.
int tasksOf(qint64 pid)
{
    const QString threads = QString("/proc/%1/task/").arg(pid);
    int tasks = 0;
    for (const QString &thread : QDir(threads).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile children(threads + thread + "/children"); // missing if the thread has exited
        tasks += children.open(QIODevice::ReadOnly) ? 1 : 0;
        for (const QByteArray &child : children.readAll().simplified().split(' ')) {
            tasks += child.isEmpty() ? 0 : tasksOf(child.toInt());
        }
    }
    return tasks;
}

} // namespace

void AttackedHost::SetUp()
{
    DaemonHost::SetUp();
    bystander::prepare();
    startDaemon();
}

void AttackedHost::TearDown()
{
    attackers.endAll();
    held.kill();
    held.waitForFinished();
    DaemonHost::TearDown();
}

testing::AssertionResult AttackedHost::isServedWithin(int timeoutMs)
{
    return bystander::isServedWithin(
        timeoutMs, frontEndCommand(bystander::caller, {"--json", bystander::method}));
}

void AttackedHost::expectItCanBeKilled()
{
    daemonMayEnd = true;
    daemon.kill();
    EXPECT_TRUE(daemon.waitForFinished(patienceMs)) << "the daemon survives being killed";
}

int AttackedHost::tasksOfDaemon() const
{
    return tasksOf(daemon.processId());
}

void AttackedHost::holdTheGate()
{
    ASSERT_EQ(mkfifo("/run/gate", 0600), 0);
    host::writeScript("/usr/sbin/getstatus", "if mkdir /run/held 2>/dev/null; then "
                                             "cat /run/gate; else cat /run/status; fi\n");
    const QStringList command =
        frontEndCommand({user::root, bystander::caller.path}, {"--json", bystander::method});
    held.start(command.first(), command.mid(1));
    ASSERT_TRUE(waitFor([] { return QFile::exists("/run/held"); }));
}

void AttackedHost::releaseTheGate(const QByteArray &text)
{
    host::writeFile("/run/status", text);
    host::writeFile("/run/gate", text);
}
