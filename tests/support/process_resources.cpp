// SPDX-License-Identifier: MIT
#include "support/process_resources.h"

#include "support/host_files.h"

#include <QDir>

#include <gtest/gtest.h>

#include <sys/prctl.h>

int memoryOf(qint64 pid, const char *field)
{
    const QByteArray start = QByteArray(field) + ':';
    for (const QByteArray &line : host::readFile(QString("/proc/%1/status").arg(pid)).split('\n')) {
        if (line.startsWith(start)) {
            return line.simplified().split(' ').value(1).toInt();
        }
    }
    ADD_FAILURE() << "no " << field;
    return 0;
}

void disableHugePages()
{
    ASSERT_EQ(prctl(PR_SET_THP_DISABLE, 1UL, 0UL, 0UL, 0UL), 0);
}

int openFilesOf(qint64 pid)
{
    const QDir directory(QString("/proc/%1/fd").arg(pid));
    EXPECT_TRUE(directory.exists()) << qPrintable(directory.path());
    return directory.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}
