// SPDX-License-Identifier: MIT
#include "stats/event_counter.h"

#include "util/regular_file.h"
#include "util/status.h"
#include "util/utf8_text.h"

#include <QFile>

namespace halvex {

std::optional<QByteArray> eventTotalInLine(const QByteArray &line)
{
    static const QByteArray key = "events_processed";
    static const QByteArray opening = "='";

    const int keyStart = line.indexOf(key);
    if (keyStart < 0) {
        return std::nullopt;
    }
    const int openingStart = line.indexOf(opening, keyStart);
    if (openingStart < 0) {
        return std::nullopt;
    }
    const int valueStart = openingStart + opening.size();
    const int valueEnd = line.indexOf('\'', valueStart);
    if (valueEnd < 0) {
        return std::nullopt;
    }
    return line.mid(valueStart, valueEnd - valueStart);
}

int getEventTotalCount(const QString &statePath, QString &count)
{
    QFile state;
    if (!openRegularFile(state, statePath, QIODevice::ReadOnly)) {
        return failed;
    }
    std::optional<QByteArray> total;
    while (!total) {
        const QByteArray line = state.readLine();
        if (line.isEmpty()) { // EOF or an error: a blank line still contains its line feed
            break;
        }
        total = eventTotalInLine(line);
    }
    count = utf8Text(total.value_or(QByteArray()));
    return succeeded;
}

} // namespace halvex
