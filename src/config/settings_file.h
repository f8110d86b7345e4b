// SPDX-License-Identifier: MIT
//
// Reads and rewrites a settings file whole, for the stores that work on its bytes. What they mean,
// each store knows for itself.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string_view>

namespace halvex {

/// The largest settings file that is read, in bytes. Its text must stay within Qt's 2 GiB also when
/// each byte is escaped to six, or to two in UTF-16.
constexpr qint64 maxSettingsFileSize = qint64(256) << 20;

/// Reads all bytes of the file at @p path. Never waits for a FIFO's other end, a device or a lease.
///
/// @return nothing when the file is missing, is not a regular file, cannot be opened or read, or is
///         larger than maxSettingsFileSize
[[nodiscard]] std::optional<QByteArray> readSettingsFile(const QString &path);

/// What came of a write to a settings file.
enum class WriteResult {
    NotOpened, ///< the file is untouched
    CutOff,    ///< the file holds the beginning of the content, or nothing
    Written,
};

/// Replaces the content of the file at @p path, which keeps its owner and mode and is never
/// created. Waits for no more than readSettingsFile() does.
///
/// @return NotOpened when the file is missing, is not a regular file or cannot be opened
[[nodiscard]] WriteResult writeSettingsFile(const QString &path, std::string_view content);

} // namespace halvex
