// SPDX-License-Identifier: MIT
//
// Starts, stops, enables, disables and restarts the suite's own services through systemctl, which
// is killed after 30 s. The network-AI engine is switched through its package tool instead.
#pragma once

#include "services/ai_engine.h"

#include <QString>

namespace halvex {

/// What is switched.
enum ServiceSwitch : unsigned {
    RunState = 0, ///< start, stop
    AtBoot = 1,   ///< enable, disable
};

/// Switches the services @p serviceNames, separated by blanks.
///
/// Two blanks in a row make systemctl fail, for it then gets an empty name. The network-AI engine's
/// name alone goes to switchEngine(), whatever the type; together with others it is a unit's name.
///
/// @param status        a SwitchState
/// @param type          a ServiceSwitch
/// @param aiConfigPath  the settings file that switchEngine() asks
/// @return 0 when systemctl exited with 0; the codes of switchEngine() for the engine;
///         else -1. Checked in this order, each with its Qt warning: the names (what
///         checkServiceNames() says, then "Invalid service name:"), the status ("Invalid status
///         value."), the type ("Invalid type value."). Without a warning: systemctl could not be
///         started, failed, or took too long.
[[nodiscard]] int setServiceStatus(const QString &serviceNames, unsigned status, unsigned type,
                                   const QString &aiConfigPath);

/// Restarts the one service @p serviceNames.
///
/// The text passes the same check as above but reaches systemctl as a single name, so several names
/// fail. The engine's name is a unit's name here.
///
/// @return 0 when systemctl exited with 0, else -1; a refused name leaves the same two
///         warnings as above.
[[nodiscard]] int restartService(const QString &serviceNames);

} // namespace halvex
