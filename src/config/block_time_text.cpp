// SPDX-License-Identifier: MIT
#include "config/block_time_text.h"

#include <QBuffer>
#include <QIODevice>
#include <QRegularExpression>
#include <QTextStream>

namespace halvex {
namespace {

/// Calls @p take for each line of @p content until @p take returns false.
template <typename Take>
void forEachLine(QByteArray &content, Take take)
{
    QBuffer buffer(&content);
    // A buffer can always be opened. In text mode, a carriage return before a line feed is dropped.
    static_cast<void>(buffer.open(QIODevice::ReadOnly | QIODevice::Text));
    QTextStream lines(&buffer);
    for (QString line; lines.readLineInto(&line) && take(line);) {
    }
}

} // namespace

bool isTimeoutLine(const QString &line)
{
    return line.startsWith(QLatin1String("TIMEOUT=")); // called for each line: must not allocate
}

int parseTimeoutValue(const QString &line)
{
    const int equalsSign = line.indexOf('=');
    if (equalsSign < 0) {
        return unparsableTimeout;
    }
    const QString value = line.mid(equalsSign + 1).trimmed();
    if (value.isEmpty()) {
        return emptyTimeout;
    }
    // QString::remove() with QRegExp("[^0-9]") keeps the same digits, but takes quadratic time.
    QString digits;
    for (const QChar character : value) {
        if (character >= '0' && character <= '9') {
            digits += character;
        }
    }
    bool isNumber = false;
    const int count = digits.toInt(&isNumber);
    return isNumber ? count : unparsableTimeout;
}

QString rewriteTimeoutLine(const QString &line, const QString &value)
{
    const int equalsSign = line.indexOf('=');
    if (equalsSign < 0) {
        return line;
    }
    QString prefix = line.left(equalsSign + 1);
    if (value == "-1") {
        return prefix;
    }
    if (line.mid(equalsSign + 1).trimmed().isEmpty()) {
        return prefix + QString(R"("%1 %2")").arg("timeout", value);
    }
    static const QRegularExpression canonicalForm(R"re(TIMEOUT="timeout (\d+)s")re");
    const QRegularExpressionMatch match = canonicalForm.match(line);
    if (!match.hasMatch()) {
        return line;
    }
    QString count = value;
    count.chop(1);
    return match.captured().replace(match.captured(1), count);
}

int timeoutIn(QByteArray content)
{
    int timeout = 0;
    forEachLine(content, [&timeout](const QString &line) {
        const bool isFound = isTimeoutLine(line);
        timeout = isFound ? parseTimeoutValue(line) : 0;
        return !isFound;
    });
    return timeout;
}

QByteArray withTimeout(QByteArray content, const QString &value)
{
    QString text;
    forEachLine(content, [&](const QString &line) {
        text += isTimeoutLine(line) ? rewriteTimeoutLine(line, value) : line;
        text += '\n';
        return true;
    });
    QByteArray changed;
    QTextStream(&changed) << text;
    return changed;
}

} // namespace halvex
