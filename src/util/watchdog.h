// SPDX-License-Identifier: MIT
//
// Lets the service manager find out that the daemon is stuck. One thread does everything here, so a
// tool that never ends holds up everybody; only from outside can that be ended.
#pragma once

#include <QTimer>

#include <memory>

namespace halvex {

/// Starts telling the service manager that the event loop turns, if it asks for that in the
/// environment (NOTIFY_SOCKET, WATCHDOG_USEC, WATCHDOG_PID): at half the interval it gives.
///
/// Takes the three variables out of the environment in any case, so that no child speaks in the
/// daemon's name. Never blocks; logs nothing.
///
/// @return what keeps telling for as long as it lives; null when nothing is asked for
[[nodiscard]] std::unique_ptr<QTimer> startWatchdog();

} // namespace halvex
