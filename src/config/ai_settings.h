// SPDX-License-Identifier: MIT
//
// The settings of an AI engine, in a YAML file. The file is rewritten in place and never created.
// Nothing is cached or logged.
#pragma once

#include <QString>

namespace halvex {

/// Reads one setting of an engine from the file at @p path.
///
/// @param type   the engine; only 0 is known
/// @param value  see readAiSetting(); unchanged for any other type
/// @return 0 on success; -1 for any other type, or if readAiSetting() fails
[[nodiscard]] int getAiConfig(const QString &path, int type, const QString &key, QString &value);

/// Reads the setting @p key from the file at @p path.
///
/// @param value  the setting's text; empty on failure; unchanged if @p key is empty
/// @return 0 on success; -1 if @p key is empty, or if readSettingsFile() or aiSettingIn() fails
[[nodiscard]] int readAiSetting(const QString &path, const QString &key, QString &value);

/// Writes one setting of an engine into the file at @p path. The file keeps its owner and mode.
///
/// @param type  the engine; only 0 is known
/// @return 0 if the new text could be made, even if the file could not be opened for writing or the
///         write failed; -1, with the file unchanged, for any other type, for an empty key or
///         value, or if readSettingsFile() or withAiSetting() fails
[[nodiscard]] int setAiConfig(const QString &path, int type, const QString &key,
                              const QString &value);

} // namespace halvex
