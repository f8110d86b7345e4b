// SPDX-License-Identifier: MIT
//
// The desktop's three alert notification settings, kept in the research engine's XML
// configuration. The file is edited in place and never created; its meaning is the engine's and the
// front end's, and no value is checked. Nothing is cached or logged.
#pragma once

#include <QString>

namespace halvex {

/// Reads the three notification settings from the file at @p path.
///
/// An out-value whose setting is missing or empty stays untouched.
///
/// @return 0 when the file has a notify element, even an empty one; -1 when the file is missing,
///         unreadable, too large, malformed or without that element
[[nodiscard]] int getNotifyConfig(const QString &path, QString &notifyDisabled,
                                  QString &notifyTimeout, QString &notifyFold);

/// Writes the three notification settings into the file at @p path, which loses its comments and
/// layout by that and keeps its owner and mode.
///
/// @return 0 when written; -1 with the file untouched when a value is empty or when the file is
///         missing, unreadable, too large, malformed, without a notify element or cannot be opened
///         for writing; -1 also when the writing failed half-way, which is not repaired
[[nodiscard]] int setNotifyConfig(const QString &path, const QString &notifyDisabled,
                                  const QString &notifyTimeout, const QString &notifyFold);

} // namespace halvex
