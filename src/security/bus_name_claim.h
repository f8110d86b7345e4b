// SPDX-License-Identifier: MIT
#pragma once

class QDBusConnectionInterface;
class QString;

namespace halvex {

/// Claims the name @p name on the bus @p bus. Waits for as long as the time-out of @p bus.
///
/// If the bus refuses the claim, as under the policy of an earlier version, a Qt warning says so.
///
/// @return false if the bus does not answer: messages that came before the answer fill the queue of
///         the bus library
[[nodiscard]] bool claimBusName(QDBusConnectionInterface &bus, const QString &name);

} // namespace halvex
