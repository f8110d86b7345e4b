// SPDX-License-Identifier: MIT
//
// The network-AI engine. It is not a system unit but an application package, which the package tool
// (pellmar, searched for in PATH) runs, kills, lists and describes. All commands are fixed texts
// and go through the command runner, with its time-outs. Only the command runner logs a failed
// command.
#pragma once

#include <QString>

namespace halvex {

/// The AI setting that says whether the engine needs the internet.
inline const QString dgaDetectKey = "dga_detect";

/// The state to which the engine is switched.
enum SwitchState : unsigned { Off = 0, On = 1 };

enum EngineState : int {
    EngineStopped = 0,
    EngineRunning = 1,
    EngineMissing = 2, ///< not installed, or the package tool failed
};

/// Switches the engine to @p status, a SwitchState.
///
/// If the setting `dgaDetectKey` of the file at @p aiConfigPath is the control character U+0001,
/// switching on waits up to 2 s for the internet and serves other calls meanwhile. With any other
/// setting, such as the texts "1" and "true", it does not wait.
///
/// @return 0 if the package tool ran and did not print "failed"; -1 if it failed or printed
///         "failed", or if @p status is not a SwitchState; -2, not switched on, if no network
///         interface is active; -3, not switched on, if the internet cannot be reached
[[nodiscard]] int switchEngine(unsigned status, const QString &aiConfigPath);

/// Determines the engine's state.
///
/// @param state  an EngineState
void queryEngineState(int &state);

/// Asks the engine's own counting script how many inferences the engine has made.
///
/// @param count  the script's output, without one line feed at its end; the text need not be a
///               number; "0" if there is no script or it fails
/// @return -1 if there is no script, else 0
[[nodiscard]] int getAiInferencesCount(QString &count);

/// Finds the engine's counting script in the package tool's list of the engine's files. The daemon
/// does not call it yet (see ARCHITECTURE.md).
///
/// @param path  the script's line of that list, without the line feed at its end; empty if there is
///              no such line or the tool fails
void findEngineCountScript(QString &path);

/// Finds the engine's settings file in the same way. The daemon does not call it yet, either.
void findEngineConfigPath(QString &path);

} // namespace halvex
