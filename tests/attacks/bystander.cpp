// SPDX-License-Identifier: MIT
#include "attacks/bystander.h"

#include "support/host_files.h"

#include <QElapsedTimer>
#include <QThread>

void bystander::prepare()
{
    host::writeFile("/var/lib/halvex/var/run/halvex-research.state", "events_processed='1234'\n");
}

testing::AssertionResult bystander::isServedWithin(int timeoutMs, const QStringList &command)
{
    QElapsedTimer timer;
    timer.start();
    Reply last;
    do {
        QProcess process;
        process.start(command.first(), command.mid(1));
        if (!process.waitForFinished(qMax(0, timeoutMs - static_cast<int>(timer.elapsed())))) {
            process.kill();
            process.waitForFinished();
            break;
        }
        last = parseReply(process.readAllStandardOutput());
        if (last == served) {
            return testing::AssertionSuccess();
        }
        QThread::msleep(50);
    } while (timer.elapsed() < timeoutMs);
    return testing::AssertionFailure()
           << "after " << timer.elapsed() << " ms a bystander has " << testing::PrintToString(last);
}
