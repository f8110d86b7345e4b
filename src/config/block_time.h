// SPDX-License-Identifier: MIT
//
// The block-time file: the time for which an offending address stays blocked. Its text is in the
// locale's codec. The file is rewritten in place and never created. Nothing is cached or logged.
#pragma once

#include <QString>

namespace halvex {

/// Reads the block time from the first timeout line of the file at @p path.
///
/// @param timeout  the seconds; 0 also when there is no timeout line, emptyTimeout (-2) when its
///                 value is empty; untouched on failure
/// @return 0 when read; -1 as readSettingsFile() fails, or when the value is not a 32-bit number
[[nodiscard]] int readBlockTimeout(const QString &path, int &timeout);

/// Rewrites every timeout line of the file at @p path with @p value, and all other lines as they
/// are, each ended by a line feed.
///
/// @return 0 when the file was opened for writing, also when it had no timeout line; -1, with the
///         file untouched, as readSettingsFile() fails, or when it cannot be opened for writing
[[nodiscard]] int writeBlockTimeout(const QString &path, const QString &value);

} // namespace halvex
