// SPDX-License-Identifier: MIT
#include "stats/event_counter.h"

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
    QFile state(statePath);
    if (!state.open(QIODevice::ReadOnly)) {
        return -1;
    }
    std::optional<QByteArray> total;
    // An empty line still has its line feed; nothing at all is the end of the file, or an error.
    for (QByteArray line = state.readLine(); !total && !line.isEmpty(); line = state.readLine()) {
        total = eventTotalInLine(line);
    }
    const QByteArray text = total.value_or(QByteArray());
    count = QString::fromUtf8(text.constData(), text.size()); // all of it, NUL or not
    return 0;
}

} // namespace halvex
