// SPDX-License-Identifier: MIT
#include "config/block_time.h"

#include "config/block_time_text.h"
#include "config/settings_file.h"

#include <QFile>
#include <QString>
#include <QTextStream>

namespace halvex {

int readBlockTimeout(const QString &path, int &timeout)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
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
    if (found == unparsableTimeout) {
        return -1;
    }
    timeout = found;
    return 0;
}

int writeBlockTimeout(const QString &path, const QString &value)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text) || file.size() > largestSettingsFile) {
        return -1;
    }
    QString content;
    QTextStream input(&file);
    for (QString line; input.readLineInto(&line);) {
        content += isTimeoutLine(line) ? rewriteTimeoutLine(line, value) : line;
        content += '\n';
    }
    // What was read before an error must not be taken for the whole, and written back.
    if (file.error() != QFileDevice::NoError) {
        return -1;
    }
    file.close();

    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        return -1;
    }
    QTextStream output(&file);
    output << content;
    return 0;
}

} // namespace halvex
