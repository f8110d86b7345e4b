// SPDX-License-Identifier: MIT
#include "model/block_time_model.h"

#include <QStringList>

#include <algorithm>
#include <optional>

namespace model {
namespace {

const QString timeoutKey = "TIMEOUT=";

bool isTimeoutLine(const QString &line)
{
    return line.startsWith(timeoutKey, Qt::CaseSensitive);
}

bool isDigit(QChar character)
{
    return character >= '0' && character <= '9';
}

QString digitsOf(const QString &text)
{
    QString digits;
    for (const QChar character : text) {
        if (isDigit(character)) {
            digits += character;
        }
    }
    return digits;
}

/// @p digits without leading zeros; nothing if the number exceeds a signed 32-bit integer.
std::optional<QString> asTimeout(QString digits)
{
    while (digits.size() > 1 && digits.startsWith('0')) {
        digits.remove(0, 1);
    }
    const QString largest = "2147483647";
    if (digits.size() > largest.size() || (digits.size() == largest.size() && digits > largest)) {
        return std::nullopt;
    }
    return digits;
}

/// The place of `TIMEOUT="timeout <digits>s"` and of its digits in a text.
struct TimeoutPlace
{
    int matchBegin;
    int begin;
    int end;
    int matchEnd;
};

std::optional<TimeoutPlace> canonicalTimeout(const QString &line)
{
    const QString before = "TIMEOUT=\"timeout ";
    const QString behind = "s\"";
    for (int place = 0; place < line.size(); ++place) {
        const int begin = place + before.size();
        int end = begin;
        while (end < line.size() && isDigit(line[end])) {
            ++end;
        }
        if (line.mid(place, before.size()) == before && end > begin &&
            line.mid(end, behind.size()) == behind) {
            return TimeoutPlace{place, begin, end, end + behind.size()};
        }
    }
    return std::nullopt;
}

QString changedTimeoutLine(const QString &line, const QString &value, std::set<std::string> &turns)
{
    if (value == "-1") {
        turns.insert("set block time: value emptied");
        return timeoutKey;
    }
    if (line.mid(timeoutKey.size()).trimmed().isEmpty()) {
        turns.insert("set block time: empty value filled");
        return timeoutKey + "\"timeout " + value + "\"";
    }
    const auto timeout = canonicalTimeout(line);
    if (!timeout) {
        turns.insert("set block time: line left unchanged");
        return line;
    }
    turns.insert("set block time: timeout replaced");
    if (timeout->matchBegin != 0 || timeout->matchEnd != line.size()) {
        turns.insert("set block time: rest of the line dropped");
    }
    if (!value.isEmpty() && value.back().isLowSurrogate()) {
        turns.insert("set block time: half of a character cut off");
    }
    return line.mid(timeout->matchBegin, timeout->begin - timeout->matchBegin) +
           value.left(std::max(0, value.size() - 1)) +
           line.mid(timeout->end, timeout->matchEnd - timeout->end);
}

} // namespace

Prediction readTimeout(Prediction call)
{
    if (!call.files.blockTime) {
        call.status = -1;
        call.turns.insert("get block time: no file");
        return call;
    }
    const std::vector<QString> all = textLines(*call.files.blockTime);
    const auto first = std::find_if(all.begin(), all.end(), isTimeoutLine);
    if (first == all.end()) {
        call.turns.insert("get block time: no timeout line");
        return call;
    }
    const QString value = first->mid(timeoutKey.size()).trimmed();
    if (value.isEmpty()) {
        call.fieldValue = "-1";
        call.turns.insert("get block time: empty value");
        return call;
    }
    const QString digits = digitsOf(value);
    const auto timeout = asTimeout(digits);
    if (digits.isEmpty() || !timeout) {
        call.status = -1;
        call.turns.insert(digits.isEmpty() ? "get block time: no digits"
                                           : "get block time: out of range");
    } else if (*timeout == "0") {
        call.turns.insert("get block time: zero");
    } else {
        call.fieldValue = *timeout + "s";
        call.turns.insert("get block time: timeout");
    }
    return call;
}

Prediction writeTimeout(Prediction call, const QString &value)
{
    if (!call.files.blockTime || !call.files.writable) {
        call.status = -1;
        call.turns.insert(call.files.blockTime ? "set block time: not writable"
                                               : "set block time: no file");
        return call;
    }
    QString content;
    int timeoutLines = 0;
    for (const QString &line : textLines(*call.files.blockTime)) {
        const bool isTimeout = isTimeoutLine(line);
        timeoutLines += isTimeout ? 1 : 0;
        content += (isTimeout ? changedTimeoutLine(line, value, call.turns) : line) + "\n";
    }
    if (timeoutLines != 1) {
        call.turns.insert(timeoutLines == 0 ? "set block time: no timeout line"
                                            : "set block time: several timeout lines");
    }
    call.files.blockTime = content.toUtf8();
    return call;
}

std::vector<QString> textLines(const QByteArray &content)
{
    // With a QByteArray, fromUtf8() would stop at the first NUL.
    // If a file is opened as text, a Qt text stream drops the byte-order mark and every "\r".
    const QString text = QString::fromUtf8(content.constData(), content.size()).remove('\r');
    std::vector<QString> result;
    for (const QString &line : text.split('\n')) {
        result.push_back(line);
    }
    // There is no line after the last line feed.
    if (result.back().isEmpty()) {
        result.pop_back();
    }
    return result;
}

} // namespace model
