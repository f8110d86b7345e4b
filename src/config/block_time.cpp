// SPDX-License-Identifier: MIT
#include "config/block_time.h"

#include "config/block_time_text.h"
#include "config/settings_file.h"

#include <QFile>
#include <QStringList>
#include <QTextStream>

namespace halvex {
namespace {

bool openForReading(QFile &file)
{
    return file.open(QIODevice::ReadOnly | QIODevice::Text) && file.size() <= largestSettingsFile;
}

} // namespace

int readBlockTimeout(const QString &path, int &timeout)
{
    QFile file(path);
    if (!openForReading(file)) {
        return -1;
    }
    int found = 0;
    QTextStream stream(&file);
    for (QString line; stream.readLineInto(&line);) {
        if (isTimeoutLine(line)) {
            found = parseTimeoutValue(line);
            break;
        }
    }
    if (found == -1) {
        return -1;
    }
    timeout = found;
    return 0;
}

int writeBlockTimeout(const QString &path, const QString &value)
{
    QFile file(path);
    if (!openForReading(file)) {
        return -1;
    }
    QStringList lines;
    QTextStream input(&file);
    for (QString line; input.readLineInto(&line);) {
        lines << (isTimeoutLine(line) ? rewriteTimeoutLine(line, value) : line);
    }
    file.close();

    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        return -1;
    }
    QTextStream output(&file);
    for (const QString &line : qAsConst(lines)) {
        output << line << '\n';
    }
    return 0;
}

} // namespace halvex
