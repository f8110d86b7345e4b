// SPDX-License-Identifier: MIT
#include "attacks/bystander.h"

#include "support/host_files.h"
#include "support/machine_deadline.h"

#include <QThread>

void bystander::prepare()
{
    host::writeFile("/var/lib/halvex/var/run/halvex-research.state", "events_processed='1234'\n");
}

testing::AssertionResult bystander::isServedWithin(int timeoutMs, const QStringList &command)
{
    MachineDeadline deadline(timeoutMs);
    Reply last;
    do {
        QProcess process;
        process.start(command.first(), command.mid(1));
        while (process.state() != QProcess::NotRunning && !deadline.hasExpired()) {
            process.waitForFinished(MachineDeadline::stepMs);
        }
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished();
            break;
        }
        last = parseReply(process.readAllStandardOutput());
        if (last == served) {
            return testing::AssertionSuccess();
        }
        QThread::msleep(MachineDeadline::stepMs);
    } while (!deadline.hasExpired());
    return testing::AssertionFailure()
           << "after " << deadline.elapsedMs() << " ms a bystander's last answer is "
           << testing::PrintToString(last);
}
