// SPDX-License-Identifier: MIT
#include "model/intervention_model.h"

#include "model/block_time_model.h"

#include <QList>

#include <algorithm>
#include <vector>

namespace model {

namespace {

const QByteArray headerPrefix = "action \"";
const QString timeoutField = "blockip_timeout";

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
    bool ignored = false;    ///< blank or a comment, without the wanted header
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
        turns.insert("get: found inside a longer name");
    }
    if (*firstPlace(line.text, "=") < fieldPlace + field.size() + 1) {
        turns.insert("get: equals sign before the field");
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
            turns.insert("get: skipped a field outside the section");
        } else if (line.ignored) {
            turns.insert("get: skipped a field in a comment");
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
    turns.insert("set: value replaced");
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
        turns.insert("quoting: empty value");
    }
    if (value.startsWith(' ') || value.contains("  ")) {
        turns.insert("quoting: empty word");
    }
    if (value.endsWith(' ')) {
        turns.insert("quoting: trailing blank");
    }
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

Prediction getInterventionConfig(const SettingsFiles &files, const QString &actionName,
                                 const QString &fieldName)
{
    Prediction call;
    call.files = files;
    if (actionName.isEmpty() || fieldName.isEmpty()) {
        call.status = -1;
        call.turns.insert("empty action or field name");
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
        call.turns.insert("empty action or field name");
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
