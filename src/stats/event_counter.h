// SPDX-License-Identifier: MIT
//
// How many events the research engine has processed, as the engine itself has written it into its
// state file. The file is only read, afresh at every call; nothing is logged.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace halvex {

/// Reads the event total from the state file at @p statePath.
///
/// @param count  the text between the quotes of the first complete entry, unchanged; empty when the
///               file holds none; untouched on failure
/// @return 0 when the file was read; -1 when it is missing, is not a regular file or cannot be
///         opened
[[nodiscard]] int getEventTotalCount(const QString &statePath, QString &count);

/// The value of the entry events_processed='…' in one @p line of the state file.
///
/// Anything may stand between the key and the ='. Nothing when the line holds no complete entry.
[[nodiscard]] std::optional<QByteArray> eventTotalInLine(const QByteArray &line);

} // namespace halvex
