// SPDX-License-Identifier: MIT
#include "support/host_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace host {

void writeFile(const QString &path, const QByteArray &bytes, unsigned mode)
{
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path())) << qPrintable(path);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << qPrintable(path);
    ASSERT_EQ(file.write(bytes), bytes.size()) << qPrintable(path);
    file.close();
    ASSERT_EQ(chmod(QFile::encodeName(path).constData(), mode), 0) << qPrintable(path);
}

void writeScript(const QString &path, const QByteArray &body)
{
    writeFile(path, "#!/bin/sh\n" + body, 0755);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "cannot read " << qPrintable(path);
        return {};
    }
    return file.readAll();
}

} // namespace host
