// SPDX-License-Identifier: MIT
//
// Reads one switch from the output of a status tool of the operating system: lines of a name, a
// colon and a value. Runs the tool through the shell with the daemon's own environment and waits
// for it without a time-out. Logs nothing; the shell's error messages go to standard error.
#pragma once

#include <optional>
#include <string>

namespace halvex {

/// Tells whether the switch @p key is on in the output of @p command.
///
/// @param command  a fixed text for the shell; never a caller's text
/// @param key      the switch's name, in lower case: only the output is converted to lower case
/// @return the answer of the first line that contains the key and a later colon; false if there is
///         no such line or the command cannot be run. The exit status is ignored.
[[nodiscard]] bool readSwitchFromCommand(const char *command, const char *key);

/// Like readSwitchFromCommand(), but returns nothing if the state of the switch is unknown: if the
/// shell cannot be started, if its output cannot be read, or if it prints no answer and either is
/// terminated by a signal or exits with 126 or 127, which mean that a command could not be started.
[[nodiscard]] std::optional<bool> querySwitch(const char *command, const char *key);

/// Reads the switch @p key from one line of a status tool.
///
/// @return nothing if the line does not contain the key (in any letter case) and a later colon;
///         otherwise whether the value after that colon begins with "on" or "enable", so that
///         "only" and "enabled" count as on, and "is on" does not.
[[nodiscard]] std::optional<bool> switchInLine(std::string line, const std::string &key);

} // namespace halvex
