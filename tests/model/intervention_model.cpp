// SPDX-License-Identifier: MIT
#include "model/intervention_model.h"

#include <QList>
#include <QStringList>

#include <algorithm>

namespace model {

namespace {

const QByteArray headerPrefix = "action \"";
const QString timeoutField = "blockip_timeout";
const QString timeoutKey = "TIMEOUT=";

// --- searching, byte by byte ---

bool standsAt(const QByteArray &text, int place, const QByteArray &wanted)
{
    if (place + wanted.size() > text.size()) {
        return false;
    }
    for (int i = 0; i < wanted.size(); ++i) {
        if (text[place + i] != wanted[i]) {
            return false;
        }
    }
    return true;
}

std::optional<int> firstPlace(const QByteArray &text, const QByteArray &wanted, int start = 0)
{
    for (int place = start; place <= text.size() - wanted.size(); ++place) {
        if (standsAt(text, place, wanted)) {
            return place;
        }
    }
    return std::nullopt;
}

bool holds(const QByteArray &text, const QByteArray &wanted)
{
    return firstPlace(text, wanted).has_value();
}

QByteArray from(const QByteArray &text, int start)
{
    return text.right(text.size() - start);
}

/// Decodes all of the bytes: with a QByteArray, fromUtf8() would stop at the first NUL.
QString decoded(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

/// Decodes a value and keeps a byte-order mark at its beginning.
QString decodedValue(const QByteArray &bytes)
{
    const bool hasMark = bytes.startsWith("\xef\xbb\xbf");
    return QString(hasMark ? 1 : 0, QChar::ByteOrderMark) + decoded(bytes);
}

// --- reading the intervention file ---

bool isWhiteSpace(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

/// What one line says by itself. Whether it is in the section depends on the lines before it.
struct Line
{
    QByteArray text;
    bool opens = false;      ///< contains the wanted action's header
    bool ignored = false;    ///< blank or a comment, and does not open
    bool holdsField = false; ///< contains the field, in any section
    bool closes = false;     ///< contains another action's header
};

std::vector<Line> lines(const QByteArray &content, const QByteArray &action,
                        const QByteArray &field)
{
    std::vector<Line> result;
    for (const QByteArray &text : content.split('\n')) {
        Line line;
        line.text = text;
        line.opens = holds(text, headerPrefix + action + '"');
        const auto *firstInk = std::find_if_not(text.begin(), text.end(), isWhiteSpace);
        line.ignored = !line.opens && (firstInk == text.end() || *firstInk == '#');
        line.holdsField = !line.opens && holds(text, field + " = ");
        line.closes = !line.opens && !line.ignored && holds(text, headerPrefix);
        result.push_back(line);
    }
    return result;
}

/// Whether a header of the action precedes the line, with no other header between them.
bool inSection(const std::vector<Line> &lines, std::size_t number)
{
    while (number > 0) {
        --number;
        if (lines[number].opens) {
            return true;
        }
        if (lines[number].closes) {
            return false;
        }
    }
    return false;
}

QByteArray valueOf(const QByteArray &line)
{
    QByteArray value = from(line, *firstPlace(line, "=") + 2);
    while (!value.isEmpty() && QByteArray(" \n\r\t").contains(value.back())) {
        value.chop(1);
    }
    return value;
}

QByteArray withoutQuotes(const QByteArray &text)
{
    QByteArray result;
    for (const char character : text) {
        if (character != '"') {
            result += character;
        }
    }
    return result;
}

void noteValue(const Line &line, const QByteArray &field, std::set<std::string> &turns)
{
    const QByteArray value = valueOf(line.text);
    const int fieldPlace = *firstPlace(line.text, field + " = ");
    turns.insert(value.isEmpty() ? "get: empty value" : "get: value");
    if (fieldPlace > 0 && !isWhiteSpace(line.text[fieldPlace - 1])) {
        turns.insert("get: by a longer name");
    }
    if (*firstPlace(line.text, "=") < fieldPlace + field.size() + 1) {
        turns.insert("get: earlier equals sign");
    }
    if (line.closes) {
        turns.insert("get: in another action's header line");
    }
    if (!line.text.endsWith(value)) {
        turns.insert("get: blanks cut off");
    }
}

QString readField(const QByteArray &content, const QByteArray &action, const QByteArray &field,
                  std::set<std::string> &turns)
{
    const std::vector<Line> all = lines(content, action, field);
    bool hasHeader = false;
    for (std::size_t number = 0; number < all.size(); ++number) {
        const Line &line = all[number];
        hasHeader = hasHeader || line.opens;
        if (line.opens && line.text.trimmed().startsWith('#')) {
            turns.insert("get: header in a comment");
        }
        if (!line.holdsField) {
            continue;
        }
        if (!inSection(all, number)) {
            turns.insert("get: field outside the section passed");
        } else if (line.ignored) {
            turns.insert("get: field in a comment passed");
        } else {
            noteValue(line, field, turns);
            return decodedValue(withoutQuotes(valueOf(line.text)));
        }
    }
    turns.insert(hasHeader ? "get: no such field in the section" : "get: no header");
    return "";
}

// --- changing the intervention file ---

/// The place of the old value: from `begin` up to, but not including, `end`.
struct Place
{
    int fieldEnd;
    int begin;
    int end;
    bool afterComment;
};

/// @param turn  set to the reason if no value is found
std::optional<Place> findValue(const QByteArray &content, const QByteArray &field, int start,
                               std::string &turn)
{
    const auto comment = firstPlace(content, "# " + field, start);
    if (comment) {
        start = *comment + field.size() + 2;
    }
    const auto fieldPlace = firstPlace(content, field + " =", start);
    if (!fieldPlace) {
        turn = "set: never returns, no field";
        return std::nullopt;
    }
    const int fieldEnd = *fieldPlace + field.size();
    const auto lineFeed = firstPlace(content, "\n", fieldEnd + 3);
    if (!lineFeed) {
        turn = "set: never returns, no line feed";
        return std::nullopt;
    }
    return Place{fieldEnd, fieldEnd + 3, *lineFeed, comment.has_value()};
}

void noteChange(const QByteArray &content, const Place &place, int start,
                std::set<std::string> &turns)
{
    turns.insert("set: done");
    if (place.afterComment) {
        turns.insert("set: behind a comment that begins with the field");
    }
    if (holds(content.mid(start, place.fieldEnd - start), headerPrefix)) {
        turns.insert("set: in a later section");
    }
    if (content[place.begin - 1] == '\n') {
        turns.insert("set: next line replaced");
    }
    if (place.end > place.begin && content[place.end - 1] == '\r') {
        turns.insert("set: carriage return lost");
    }
}

void noteLengths(const QByteArray &content, const QByteArray &field, const Place &place,
                 int startByBytes, std::set<std::string> &turns)
{
    turns.insert("set: name longer in bytes than in UTF-16 units");
    std::string why;
    const auto placeByBytes = findValue(content, field, startByBytes, why);
    if (!placeByBytes || placeByBytes->begin != place.begin) {
        turns.insert("set: counting the name in bytes would find another place");
    }
}

void noteValueToWrite(const QString &value, std::set<std::string> &turns)
{
    if (value.isEmpty()) {
        turns.insert("quoting: nothing");
    }
    if (value.startsWith(' ') || value.contains("  ")) {
        turns.insert("quoting: empty word");
    }
    if (value.endsWith(' ')) {
        turns.insert("quoting: trailing blank");
    }
}

// --- the block-time file ---

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
std::optional<QString> asCount(QString digits)
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

/// The place of `TIMEOUT="timeout <count>s"` and of its count in a text.
struct CountPlace
{
    int matchBegin;
    int begin;
    int end;
    int matchEnd;
};

std::optional<CountPlace> canonicalCount(const QString &line)
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
            return CountPlace{place, begin, end, end + behind.size()};
        }
    }
    return std::nullopt;
}

QString changedTimeoutLine(const QString &line, const QString &value, std::set<std::string> &turns)
{
    if (value == "-1") {
        turns.insert("write time: emptied");
        return timeoutKey;
    }
    if (line.mid(timeoutKey.size()).trimmed().isEmpty()) {
        turns.insert("write time: filled");
        return timeoutKey + "\"timeout " + value + "\"";
    }
    const auto count = canonicalCount(line);
    if (!count) {
        turns.insert("write time: left alone");
        return line;
    }
    turns.insert("write time: count replaced");
    if (count->matchBegin != 0 || count->matchEnd != line.size()) {
        turns.insert("write time: rest of the line dropped");
    }
    if (!value.isEmpty() && value.back().isLowSurrogate()) {
        turns.insert("write time: half of a character cut off");
    }
    return line.mid(count->matchBegin, count->begin - count->matchBegin) +
           value.left(std::max(0, value.size() - 1)) +
           line.mid(count->end, count->matchEnd - count->end);
}

Prediction readTimeout(Prediction call)
{
    if (!call.files.blockTime) {
        call.status = -1;
        call.turns.insert("read time: no file");
        return call;
    }
    const std::vector<QString> all = textLines(*call.files.blockTime);
    const auto first = std::find_if(all.begin(), all.end(), isTimeoutLine);
    if (first == all.end()) {
        call.turns.insert("read time: no line");
        return call;
    }
    const QString value = first->mid(timeoutKey.size()).trimmed();
    if (value.isEmpty()) {
        call.fieldValue = "-1";
        call.turns.insert("read time: empty");
        return call;
    }
    const QString digits = digitsOf(value);
    const auto count = asCount(digits);
    if (digits.isEmpty() || !count) {
        call.status = -1;
        call.turns.insert(digits.isEmpty() ? "read time: no digits" : "read time: out of range");
    } else if (*count == "0") {
        call.turns.insert("read time: zero");
    } else {
        call.fieldValue = *count + "s";
        call.turns.insert("read time: count");
    }
    return call;
}

Prediction writeTimeout(Prediction call, const QString &value)
{
    if (!call.files.blockTime || !call.files.writable) {
        call.status = -1;
        call.turns.insert(call.files.blockTime ? "write time: not writable"
                                               : "write time: no file");
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
        call.turns.insert(timeoutLines == 0 ? "write time: no line" : "write time: several lines");
    }
    call.files.blockTime = content.toUtf8();
    return call;
}

} // namespace

bool operator==(const SettingsFiles &left, const SettingsFiles &right)
{
    return left.intervention == right.intervention && left.blockTime == right.blockTime &&
           left.writable == right.writable;
}

QByteArray quoted(const QByteArray &value)
{
    QList<QByteArray> words = value.split(' ');
    // The text after the last blank is a word only if it is not empty.
    if (words.back().isEmpty()) {
        words.removeLast();
    }
    for (QByteArray &word : words) {
        word = '"' + word + '"';
    }
    return words.join(' ');
}

std::vector<QString> textLines(const QByteArray &content)
{
    // If a file is opened as text, a Qt text stream drops the byte-order mark and every "\r".
    const QString text = decoded(content).remove('\r');
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

Prediction getInterventionConfig(const SettingsFiles &files, const QString &actionName,
                                 const QString &fieldName)
{
    Prediction call;
    call.files = files;
    if (actionName.isEmpty() || fieldName.isEmpty()) {
        call.status = -1;
        call.turns.insert("empty name");
        return call;
    }
    if (fieldName == timeoutField) {
        return readTimeout(call);
    }
    if (!files.intervention) {
        call.status = -1;
        call.turns.insert("get: no file");
        return call;
    }
    call.fieldValue =
        readField(*files.intervention, actionName.toUtf8(), fieldName.toUtf8(), call.turns);
    return call;
}

Prediction setInterventionConfig(const SettingsFiles &files, const QString &actionName,
                                 const QString &fieldName, const QString &fieldValue)
{
    Prediction call;
    call.files = files;
    call.status = -1;
    if (actionName.isEmpty() || fieldName.isEmpty()) {
        call.turns.insert("empty name");
        return call;
    }
    if (fieldName == timeoutField) {
        call.status = 0;
        return writeTimeout(call, fieldValue);
    }
    if (!files.intervention) {
        call.turns.insert("set: no file");
        return call;
    }
    const QByteArray &content = *files.intervention;
    const QByteArray action = actionName.toUtf8();
    const QByteArray field = fieldName.toUtf8();
    const auto header = firstPlace(content, headerPrefix + action + '"');
    if (!header) {
        call.turns.insert("set: no header");
        return call;
    }
    // The name is counted in UTF-16 units but its place in bytes, so the search may start before
    // the header's closing quote.
    const int start = *header + actionName.size() + 9;
    std::string why;
    const auto place = findValue(content, field, start, why);
    if (!place) {
        call.returns = false;
        call.turns.insert(why);
        return call;
    }
    if (!files.writable) {
        call.turns.insert("set: not writable");
        return call;
    }
    noteChange(content, *place, start, call.turns);
    if (action.size() != actionName.size()) {
        noteLengths(content, field, *place, *header + action.size() + 9, call.turns);
    }
    noteValueToWrite(fieldValue, call.turns);
    const QByteArray value = fieldValue.isEmpty() ? "\"\"" : quoted(fieldValue.toUtf8());
    call.files.intervention = content.left(place->begin) + value + from(content, place->end);
    call.status = 0;
    return call;
}

} // namespace model
