// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

namespace halvex {

/// Decodes all of @p bytes from UTF-8. Unlike QString::fromUtf8(), keeps a byte-order mark at the
/// start, and the bytes after the first NUL. Returns a null QString for a null QByteArray.
[[nodiscard]] inline QString utf8Text(const QByteArray &bytes)
{
    constexpr const char *byteOrderMark = "\xef\xbb\xbf";
    if (bytes.isNull()) {
        return {};
    }
    // fromUtf8() drops one byte-order mark, so put a second one in front.
    const QByteArray kept = bytes.startsWith(byteOrderMark) ? byteOrderMark + bytes : bytes;
    return QString::fromUtf8(kept.constData(), kept.size());
}

} // namespace halvex
