// SPDX-License-Identifier: MIT
#include "security/caller_environment.h"

#include <QTextCodec>

#include <algorithm>
#include <string>

namespace halvex {
namespace {

bool isForbidden(std::string_view entry)
{
    const auto nameLength = entry.find('=');
    return nameLength != std::string_view::npos &&
           std::find(forbiddenEnvironmentNames.begin(), forbiddenEnvironmentNames.end(),
                     entry.substr(0, nameLength)) != forbiddenEnvironmentNames.end();
}

/// Tells whether @p fits returns true for any part of @p text between @p separator characters.
template <typename Predicate>
bool anyPiece(std::string_view text, char separator, Predicate fits)
{
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find(separator, start), text.size());
        if (fits(text.substr(start, end - start))) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

} // namespace

QStringList environmentEntries(const QByteArray &block)
{
    QByteArray bytes = block;
    bytes.replace("\r", "");
    QTextCodec::ConverterState noByteOrderMark(QTextCodec::IgnoreHeader);
    QString text =
        QTextCodec::codecForLocale()->toUnicode(bytes.constData(), bytes.size(), &noByteOrderMark);
    return text.replace(QChar('\0'), QChar('\n')).split('\n');
}

bool holdsForbiddenName(std::string_view block)
{
    if (block.find('\r') != std::string_view::npos) {
        std::string withoutReturns(block);
        withoutReturns.erase(std::remove(withoutReturns.begin(), withoutReturns.end(), '\r'),
                             withoutReturns.end());
        return holdsForbiddenName(withoutReturns);
    }
    return anyPiece(block, '\0',
                    [](std::string_view piece) { return anyPiece(piece, '\n', isForbidden); });
}

} // namespace halvex
