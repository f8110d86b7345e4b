// SPDX-License-Identifier: MIT
//
// The block-time file: the time for which an offending address stays blocked. Its text is in the
// locale's codec. The file is rewritten in place and never created. Nothing is cached or logged.
#pragma once

#include <QString>

namespace halvex {

/// Reads the block time from the first timeout line of the file at @p path.
///
/// @param timeout  the seconds; 0 also if there is no timeout line; emptyTimeout (-2) if the line's
///                 value is empty; unchanged on failure
/// @return 0 on success; -1 if readSettingsFile() fails, or if the value is not a 32-bit number
[[nodiscard]] int readBlockTimeout(const QString &path, int &timeout);

/// Rewrites every timeout line of the file at @p path with @p value. All other lines are kept.
/// Afterwards, each line ends with a line feed.
///
/// @return 0 if the file was opened for writing, even if it has no timeout line; -1, with the file
///         unchanged, if readSettingsFile() fails or the file cannot be opened for writing
[[nodiscard]] int writeBlockTimeout(const QString &path, const QString &value);

} // namespace halvex
