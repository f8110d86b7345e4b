// SPDX-License-Identifier: MIT
//
// The desktop's three alert notification settings, kept in the research engine's XML configuration.
// The file is edited in place and never created. Only the engine and the front end interpret the
// values; this module does not check them. Nothing is cached or logged.
#pragma once

#include <QString>

namespace halvex {

/// Reads the three notification settings from the file at @p path.
///
/// If a setting is missing or empty, its out-value is not changed.
///
/// @return 0 on success, even if the notify element is empty; -1 if readSettingsFile() or
///         notifyValuesIn() fails
[[nodiscard]] int getNotifyConfig(const QString &path, QString &notifyDisabled,
                                  QString &notifyTimeout, QString &notifyFold);

/// Writes the three notification settings into the file at @p path. The file loses its comments and
/// layout, and keeps its owner and mode.
///
/// @return 0 on success; -1, with the file unchanged, if readSettingsFile() or withNotifyValues()
///         fails, or if the file cannot be opened for writing; -1 also if the write failed
///         half-way; the file is then left incomplete
[[nodiscard]] int setNotifyConfig(const QString &path, const QString &notifyDisabled,
                                  const QString &notifyTimeout, const QString &notifyFold);

} // namespace halvex
