// SPDX-License-Identifier: MIT
//
// Reads one switch from the text that a status tool of the operating system prints: lines of a
// name, a colon and a value. Runs the tool through the shell with the daemon's own environment and
// waits for it without a limit. Writes to no log; the shell's complaints go to standard error.
#pragma once

#include <optional>
#include <string>

namespace halvex {

/// Tells whether the switch @p key is on in what @p command prints.
///
/// @param command  a fixed text for the shell; never one that a caller sent
/// @param key      the switch's name, in lower case: only the output is lowered before comparing
/// @return the answer of the first line that holds the key and a later colon; false when there
///         is no such line or the command cannot be run. The exit status does not count.
[[nodiscard]] bool readSwitchFromCommand(const char *command, const char *key);

/// Like readSwitchFromCommand(), but returns nothing when the shell cannot be started, its output
/// cannot be read, or it prints no answer and exits with 126 or 127, by which a shell says that the
/// command could not be started. Then nothing is known of the switch.
[[nodiscard]] std::optional<bool> querySwitch(const char *command, const char *key);

/// Reads the switch @p key from one line of a status tool.
///
/// @return nothing when the line does not hold the key (in any letter case) and a later colon;
///         otherwise whether the value after that colon begins with "on" or "enable", so that
///         "only" and "enabled" count as on, and "is on" does not.
[[nodiscard]] std::optional<bool> switchInLine(std::string line, const std::string &key);

} // namespace halvex
