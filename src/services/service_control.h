// SPDX-License-Identifier: MIT
//
// Starts, stops, enables, disables and restarts the suite's own services through systemctl, which
// is killed if it has not exited after 30 s. The network-AI engine is switched through its package
// tool.
#pragma once

#include "services/ai_engine.h"

#include <QString>

namespace halvex {

/// The property of a service that is switched.
enum ServiceSwitch : unsigned {
    RunState = 0, ///< start, stop
    AtBoot = 1,   ///< enable, disable
};

/// Switches the services @p serviceNames, separated by blanks.
///
/// Two blanks in a row make systemctl fail, because they have an empty name between them. If the
/// network-AI engine's name is the only name, switchEngine() is called and the type is ignored. If
/// there are other names too, the engine's name is treated as the name of a unit.
///
/// The names, the status and the type are checked in this order. For the first that is not allowed,
/// a Qt warning is written: "Invalid service name:" (after the warning of checkServiceNames()),
/// "Invalid status value." or "Invalid type value.". If systemctl cannot be started, fails or takes
/// too long, there is no warning.
///
/// @param status        a SwitchState
/// @param type          a ServiceSwitch
/// @param aiConfigPath  the settings file that switchEngine() reads
/// @return 0 if systemctl exited with 0; for the engine, the status of switchEngine(); else -1
[[nodiscard]] int setServiceStatus(const QString &serviceNames, unsigned status, unsigned type,
                                   const QString &aiConfigPath);

/// Restarts the one service @p serviceNames.
///
/// The text is checked as above but passed to systemctl as a single name, so several names fail.
/// Here, the engine's name is treated as the name of a unit.
///
/// @return 0 if systemctl exited with 0, else -1; a refused name causes the same two warnings as
///         above
[[nodiscard]] int restartService(const QString &serviceNames);

} // namespace halvex
