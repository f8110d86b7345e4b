// SPDX-License-Identifier: MIT
//
// The number of events that the research engine has processed, from the engine's own state file.
// The file is only read, and read again at every call. Nothing is logged.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace halvex {

/// Reads the event total from the state file at @p statePath.
///
/// @param count  the text between the quotes of the first complete entry; empty if the file has no
///               complete entry; unchanged on failure
/// @return 0 if the file was read; -1 if it is missing, is not a regular file or cannot be opened
[[nodiscard]] int getEventTotalCount(const QString &statePath, QString &count);

/// Returns the value of the entry events_processed='…' in one @p line of the state file.
///
/// Any text may stand between the key and the characters =' before the value. Returns nothing if
/// the line has no complete entry.
[[nodiscard]] std::optional<QByteArray> eventTotalInLine(const QByteArray &line);

} // namespace halvex
