// SPDX-License-Identifier: MIT
//
// Reads and rewrites complete settings files as bytes. Other modules interpret the bytes.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string_view>

namespace halvex {

/// The maximum size of a settings file in bytes. With this limit, the text stays below Qt's maximum
/// of 2 GiB even if each byte is escaped to six bytes or becomes two bytes in UTF-16.
constexpr qint64 maxSettingsFileSize = qint64(256) << 20;

/// Reads all bytes of the file at @p path. Never waits for a FIFO's other end, a device or a lease.
///
/// @return nothing if the file is missing, is not a regular file, cannot be opened or read, or is
///         larger than maxSettingsFileSize
[[nodiscard]] std::optional<QByteArray> readSettingsFile(const QString &path);

/// The result of a write to a settings file.
enum class WriteResult {
    NotOpened, ///< the file is unchanged
    CutOff,    ///< the file holds the beginning of the content, or nothing
    Written,
};

/// Replaces the content of the file at @p path. The file keeps its owner and mode and is never
/// created. Like readSettingsFile(), never waits for a FIFO's other end, a device or a lease.
///
/// @return NotOpened if the file is missing, is not a regular file or cannot be opened
[[nodiscard]] WriteResult writeSettingsFile(const QString &path, std::string_view content);

} // namespace halvex
