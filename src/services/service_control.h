// SPDX-License-Identifier: MIT
//
// Starts, stops, enables, disables and restarts the suite's own services through systemctl, which
// is killed after 30 s. The network-AI engine is switched through its package tool.
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
/// @param status        a SwitchState
/// @param type          a ServiceSwitch
/// @param aiConfigPath  the settings file that switchEngine() reads
/// @return 0 if systemctl exited with 0; the status of switchEngine() for the engine; else -1.
///         Checked in this order, each with its Qt warning: the names (the warning of
///         checkServiceNames(), then "Invalid service name:"), the status ("Invalid status
///         value."), the type ("Invalid type value."). Without a warning: systemctl could not be
///         started, failed, or took too long.
[[nodiscard]] int setServiceStatus(const QString &serviceNames, unsigned status, unsigned type,
                                   const QString &aiConfigPath);

/// Restarts the one service @p serviceNames.
///
/// The text is checked as above but passed to systemctl as a single name, so several names fail.
/// Here, the engine's name is treated as the name of a unit.
///
/// @return 0 if systemctl exited with 0, else -1; a refused name causes the same two warnings as
///         above.
[[nodiscard]] int restartService(const QString &serviceNames);

} // namespace halvex
