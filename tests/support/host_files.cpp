// SPDX-License-Identifier: MIT
#include "support/host_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/mount.h>
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

void makeUnwritable(const QString &path)
{
    // Root may ignore file permissions, but not a read-only mount.
    const QByteArray name = QFile::encodeName(path);
    ASSERT_EQ(mount(name.constData(), name.constData(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, name.constData(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr),
              0);
}

QString ownerAndMode(const QString &path)
{
    struct stat status = {};
    if (stat(QFile::encodeName(path).constData(), &status) != 0) {
        ADD_FAILURE() << "no file " << qPrintable(path);
        return {};
    }
    return QString::asprintf("%u:%u %04o", status.st_uid, status.st_gid, status.st_mode & 07777);
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
