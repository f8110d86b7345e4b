// SPDX-License-Identifier: MIT
//
// How a service is doing: any system unit through systemctl, the network-AI engine through its
// package tool. Changes nothing. The call waits for systemctl however long it takes.
#pragma once

#include <QString>

namespace halvex {

/// What can be asked about a unit.
enum ServiceQuery : unsigned {
    IsActive = 0,
    IsEnabled = 1,
    HasStatus = 2, ///< does systemctl report a status?
};

/// Asks about the one service @p serviceName, which may be any unit's name.
///
/// @param serviceName  handed to systemctl as one argument, after "--" if it begins with "-";
///                     systemctl has the daemon's own environment. The network-AI engine's exact
///                     name asks for its state instead, see queryEngineState()
/// @param type  a ServiceQuery; ignored for the engine
/// @return for IsActive and IsEnabled: 1 yes, 0 no; for HasStatus: 1 yes, 2 no. Only the first line
///         that systemctl prints decides, its exit code does not. -1 when the type is another
///         (warning "Invalid type value.") or systemctl cannot be run.
[[nodiscard]] int getServiceStatus(const QString &serviceName, unsigned type);

} // namespace halvex
