// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

namespace halvex {

/// Decodes all of @p bytes from UTF-8, where QString::fromUtf8() of a QByteArray stops at the first
/// NUL. Null for null bytes.
[[nodiscard]] inline QString utf8Text(const QByteArray &bytes)
{
    return bytes.isNull() ? QString() : QString::fromUtf8(bytes.constData(), bytes.size());
}

} // namespace halvex
