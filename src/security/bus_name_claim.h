// SPDX-License-Identifier: MIT
#pragma once

class QDBusConnection;
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

/// Pings the object @p path of the owner of the name @p name. Waits for the answer for a second at
/// most.
///
/// If the owner has exited and the bus has not noticed this, the ping makes the bus notice it and
/// free the name. The bus stops reading from a connection while too many messages of that
/// connection wait for receivers that do not read them. It then notices the exit of the process
/// only when it writes to the connection.
void pingOwner(const QDBusConnection &bus, const QString &name, const QString &path);

} // namespace halvex
