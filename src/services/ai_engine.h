// SPDX-License-Identifier: MIT
//
// The network-AI detection engine: no system unit but an application package, which the package
// tool (/usr/bin/pellmar) runs, kills, lists and describes. Everything goes through the command
// runner, whose debug message about a failed command is the only one; all commands are fixed texts.
// Each command may block for the runner's limits.
#pragma once

#include <QString>

namespace halvex {

/// The AI setting that says whether the engine needs the internet.
inline const QString dgaDetectKey = "dga_detect";

/// What the engine is to be switched to.
enum SwitchState : unsigned { Off = 0, On = 1 };

enum EngineState : int {
    EngineStopped = 0,
    EngineRunning = 1,
    EngineMissing = 2, ///< not installed, or the package tool failed
};

/// Switches the engine to @p status, a SwitchState.
///
/// Switching on waits up to 2 s for the internet, serving other calls meanwhile, when the setting
/// `dgaDetectKey` of the file at @p aiConfigPath is the control character U+0001 (and not when it
/// is 1 or true).
///
/// @return 0: the package tool ran and printed no "failed"; -1: it did not, or the status is
///         another; -2: not switched on, for no network interface is active; -3: not switched on,
///         for the internet cannot be reached.
[[nodiscard]] int switchEngine(unsigned status, const QString &aiConfigPath);

/// Finds out how the engine is doing.
///
/// @param state  an EngineState
void queryEngineState(int &state);

/// Asks the engine's own counting script how many inferences the engine has made.
///
/// @param count  what the script prints, without one final line feed, be it a number or not; "0"
///               when there is no script or it fails
/// @return -1 when there is no script, else 0
[[nodiscard]] int getAiInferencesCount(QString &count);

/// Finds the engine's counting script in the package tool's list of the engine's files. Nothing in
/// the daemon calls it yet.
///
/// @param path  what the list says, without one final line feed; empty when it does not say or the
///              tool fails
void findEngineCountScript(QString &path);

/// Likewise finds the engine's settings file; not called yet either.
void findEngineConfigPath(QString &path);

} // namespace halvex
