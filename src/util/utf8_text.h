// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

namespace halvex {

/// Decodes all of @p bytes from UTF-8. QString::fromUtf8() drops a byte-order mark at the start
/// and, of a QByteArray, what follows the first NUL. Null for null bytes.
[[nodiscard]] inline QString utf8Text(const QByteArray &bytes)
{
    constexpr const char *byteOrderMark = "\xef\xbb\xbf";
    if (bytes.isNull()) {
        return {};
    }
    // The one in front is dropped instead.
    const QByteArray kept = bytes.startsWith(byteOrderMark) ? byteOrderMark + bytes : bytes;
    return QString::fromUtf8(kept.constData(), kept.size());
}

} // namespace halvex
