// SPDX-License-Identifier: MIT
#include "config/intervention_text.h"

#include <string_view>

namespace halvex {
namespace {

const QByteArray headerPrefix = "action \"";

QByteArray headerOf(const QString &actionName)
{
    return headerPrefix + actionName.toUtf8() + '"';
}

std::string_view viewOf(const QByteArray &bytes)
{
    return {bytes.constData(), std::size_t(bytes.size())};
}

bool contains(std::string_view text, const QByteArray &part)
{
    return text.find(viewOf(part)) != std::string_view::npos;
}

bool isBlankOrComment(std::string_view line)
{
    const auto first = line.find_first_not_of(" \t\n\v\f\r");
    return first == std::string_view::npos || line[first] == '#';
}

/// Removes the first line from @p text and returns it.
std::string_view takeLine(std::string_view &text)
{
    const auto end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

/// Returns the value in a field's @p line. The line must contain an "=" and at least one character
/// after it.
QByteArray valueInLine(std::string_view line)
{
    const std::string_view value = line.substr(line.find('=') + 2);
    const auto size = value.find_last_not_of(" \n\r\t") + 1;
    return QByteArray(value.data(), int(size)).replace('"', "");
}

} // namespace

QByteArray fieldValueIn(const QByteArray &content, const QString &actionName,
                        const QString &fieldName)
{
    const QByteArray header = headerOf(actionName);
    const QByteArray field = fieldName.toUtf8() + " = ";
    bool isInSection = false;
    for (std::string_view rest = viewOf(content); !rest.empty();) {
        const std::string_view line = takeLine(rest);
        if (contains(line, header)) {
            isInSection = true;
        } else if (isInSection && !isBlankOrComment(line)) {
            if (contains(line, field)) {
                return valueInLine(line);
            }
            isInSection = !contains(line, headerPrefix);
        }
    }
    return {};
}

std::optional<int> fieldSearchStart(const QByteArray &content, const QString &actionName)
{
    const int header = content.indexOf(headerOf(actionName));
    if (header < 0) {
        return std::nullopt;
    }
    return header + headerPrefix.size() + actionName.size() + 1;
}

std::optional<ByteSpan> findFieldValue(const QByteArray &content, const QString &fieldName,
                                       int from)
{
    const QByteArray field = fieldName.toUtf8();
    const QByteArray comment = "# " + field;
    const int commentStart = content.indexOf(comment, from);
    if (commentStart >= 0) {
        from = commentStart + comment.size();
    }
    const int fieldStart = content.indexOf(field + " =", from);
    if (fieldStart < 0) {
        return std::nullopt;
    }
    const int start = fieldStart + field.size() + 3;
    const int end = content.indexOf('\n', start);
    if (end < 0) {
        return std::nullopt;
    }
    return ByteSpan{start, end};
}

QByteArray quoteValueWords(const QByteArray &value)
{
    if (value.isEmpty()) {
        return {};
    }
    std::string_view words = viewOf(value);
    if (words.back() == ' ') {
        words.remove_suffix(1);
    }
    QByteArray quoted = "\"";
    for (const char byte : words) {
        if (byte == ' ') {
            quoted += "\" \"";
        } else {
            quoted += byte;
        }
    }
    return quoted + '"';
}

} // namespace halvex
