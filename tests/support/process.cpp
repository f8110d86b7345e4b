// SPDX-License-Identifier: MIT
#include "support/process.h"

#include "support/host_files.h"
#include "support/wait_for.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace host {

qint64 computingTime(qint64 pid)
{
    // The fields behind the name, which may hold anything.
    const QByteArray status = readFile(QString("/proc/%1/stat").arg(pid));
    const QList<QByteArray> fields = status.mid(status.lastIndexOf(')') + 2).split(' ');
    const qint64 ticks = fields.value(11).toLongLong() + fields.value(12).toLongLong();
    return ticks * 1000 / sysconf(_SC_CLK_TCK);
}

void letCompute(qint64 pid, qint64 milliseconds)
{
    const qint64 end = computingTime(pid) + milliseconds;
    EXPECT_TRUE(waitFor([&] { return computingTime(pid) >= end; })) << "it does nothing";
}

} // namespace host
