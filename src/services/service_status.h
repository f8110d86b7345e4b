// SPDX-License-Identifier: MIT
//
// Queries the state of a service: systemctl is asked for the state of a unit, and the package tool
// for that of the network-AI engine. Changes nothing. The call waits for systemctl without a
// time-out.
#pragma once

#include <QString>

namespace halvex {

/// The questions about a unit.
enum ServiceQuery : unsigned {
    IsActive = 0,
    IsEnabled = 1,
    HasStatus = 2, ///< does systemctl report a status?
};

/// Asks about the one service @p serviceName, which may be any unit's name.
///
/// @param serviceName  passed to systemctl as one argument, after "--" if it begins with "-";
///                     systemctl has the daemon's own environment. For the exact name of the
///                     network-AI engine, the engine's state is returned, see queryEngineState()
/// @param type  a ServiceQuery; ignored for the engine
/// @return for IsActive and IsEnabled: 1 yes, 0 no; for HasStatus: 1 yes, 2 no. Only the first line
///         of systemctl's output is used, not its exit status. -1 if @p type is not a ServiceQuery
///         (warning "Invalid type value.") or systemctl cannot be run.
[[nodiscard]] int getServiceStatus(const QString &serviceName, unsigned type);

} // namespace halvex
