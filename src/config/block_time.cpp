// SPDX-License-Identifier: MIT
#include "config/block_time.h"

#include "config/block_time_text.h"
#include "config/settings_file.h"

#include <QBuffer>
#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <QTextStream>

#include <optional>

namespace halvex {

int readBlockTimeout(const QString &path, int &timeout)
{
    std::optional<QByteArray> content = readSettingsFile(path);
    if (!content) {
        return -1;
    }
    QBuffer lines(&*content);
    if (!lines.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return -1;
    }
    int found = 0;
    QTextStream input(&lines);
    for (QString line; input.readLineInto(&line);) {
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
    std::optional<QByteArray> content = readSettingsFile(path);
    if (!content) {
        return -1;
    }
    QBuffer lines(&*content);
    if (!lines.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return -1;
    }
    QString text;
    QTextStream input(&lines);
    for (QString line; input.readLineInto(&line);) {
        text += isTimeoutLine(line) ? rewriteTimeoutLine(line, value) : line;
        text += '\n';
    }
    QByteArray changed;
    QTextStream(&changed) << text;
    const WriteResult result =
        writeSettingsFile(path, {changed.constData(), size_t(changed.size())});
    // A failed write has no status of its own here.
    return result == WriteResult::NotOpened ? -1 : 0;
}

} // namespace halvex
