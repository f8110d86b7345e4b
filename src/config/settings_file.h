// SPDX-License-Identifier: MIT
//
// Reads a settings file whole, for the stores that work on its bytes. What they mean, each store
// knows for itself.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace halvex {

/// The largest settings file that is read, in bytes. Its text must stay within Qt's 2 GiB also when
/// each byte is escaped to six, or to two in UTF-16.
constexpr qint64 largestSettingsFile = qint64(256) << 20;

/// Reads all bytes of the file at @p path.
///
/// @return nothing when the file cannot be opened or read, or is larger than largestSettingsFile
[[nodiscard]] std::optional<QByteArray> readSettingsFile(const QString &path);

} // namespace halvex
