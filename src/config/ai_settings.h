// SPDX-License-Identifier: MIT
//
// The settings of the AI detection engine, in a YAML file. The file is rewritten in place and never
// created. Nothing is cached or logged.
#pragma once

#include <QString>

namespace halvex {

/// Reads one setting of the engine @p type, of which only 0 is known, from the file at @p path.
///
/// @param value  as readAiSetting() says; untouched for any other type
/// @return 0 when read; -1 for any other type and as readAiSetting() says
[[nodiscard]] int getAiConfig(const QString &path, int type, const QString &key, QString &value);

/// Reads the setting @p key from the file at @p path.
///
/// @param value  the setting's text; empty on failure; untouched when @p key is empty
/// @return 0 when read; -1 when the key is empty, and as readSettingsFile() and aiSettingIn() fail
[[nodiscard]] int readAiSetting(const QString &path, const QString &key, QString &value);

/// Writes one setting of the engine @p type, of which only 0 is known, into the file at @p path,
/// which keeps its owner and mode.
///
/// @return 0 when the change was made, even if the file could not be opened or written; -1, with
///         the file untouched, for any other type, for an empty key or value, and as
///         readSettingsFile() and withAiSetting() fail
[[nodiscard]] int setAiConfig(const QString &path, int type, const QString &key,
                              const QString &value);

} // namespace halvex
