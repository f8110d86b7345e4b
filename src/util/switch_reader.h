// SPDX-License-Identifier: MIT
//
// Reads one switch from the output of a status tool of the operating system. Each line of the
// output is a name, a colon and a value. The tool is run by the shell, with the daemon's own
// environment, and the call waits for it without a time-out. Logs nothing; the shell's error
// messages go to standard error.
#pragma once

#include <optional>
#include <string>

namespace halvex {

/// Tells whether the switch @p key is on in the output of @p command.
///
/// @param command  a fixed text for the shell; never a caller's text
/// @param key      the switch's name; must be in lower case, because only the output is converted
///                 to lower case
/// @return whether the switch is on in the first line that contains the key and, after it, a colon;
///         false if there is no such line or the command cannot be run. The exit status is ignored.
[[nodiscard]] bool readSwitchFromCommand(const char *command, const char *key);

/// Like readSwitchFromCommand(), but returns nothing if the state of the switch is unknown. It is
/// unknown if the shell cannot be started, or if its output cannot be read. It is also unknown if
/// the output has no line with the key, and the command is terminated by a signal or exits with 126
/// or 127: this happens to a command that could not be started.
[[nodiscard]] std::optional<bool> querySwitch(const char *command, const char *key);

/// Reads the switch @p key from one line of a status tool.
///
/// @return whether the value after the colon begins with "on" or "enable": so "only" and "enabled"
///         count as on, and "is on" does not. Nothing if the line does not contain the key (in any
///         letter case) and, after it, a colon.
[[nodiscard]] std::optional<bool> switchInLine(std::string line, const std::string &key);

} // namespace halvex
