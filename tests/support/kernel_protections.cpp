// SPDX-License-Identifier: MIT
#include "support/kernel_protections.h"

#include "support/command.h"
#include "support/host_files.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

constexpr const char *directory = "/proc/sys/fs/";

void write(const QString &name, const QByteArray &value)
{
    QFile file(directory + name);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(value) == value.size())
        << qPrintable(name);
    file.close();
    EXPECT_EQ(host::readFile(directory + name).trimmed(), value.trimmed()) << qPrintable(name);
}

} // namespace

KernelProtections::KernelProtections()
{
    EXPECT_EQ(host::run({"mount", "-o", "remount,bind,rw", "/proc/sys"}).exitCode, 0);
    for (const QString &name : QDir(directory).entryList({"protected_*"}, QDir::Files)) {
        before[name] = host::readFile(directory + name);
    }
}

KernelProtections::~KernelProtections()
{
    for (auto protection = before.cbegin(); protection != before.cend(); ++protection) {
        write(protection.key(), protection.value());
    }
    EXPECT_EQ(host::run({"mount", "-o", "remount,bind,ro", "/proc/sys"}).exitCode, 0);
}

void KernelProtections::set(const QString &name, int value) const
{
    EXPECT_TRUE(before.contains(name)) << qPrintable(name);
    write(name, QByteArray::number(value) + '\n');
}
