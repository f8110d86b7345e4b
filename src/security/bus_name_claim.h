// SPDX-License-Identifier: MIT
#pragma once

class QDBusConnectionInterface;
class QString;

namespace halvex {

/// The result of the claim of a bus name.
enum class NameClaim {
    Owned,
    Refused,    ///< by the bus, or because there is no connection to it
    Unanswered, ///< no answer arrives: earlier messages fill the bus library's queue
};

/// Claims the name @p name on the bus @p bus, which may be null. Waits for at most the time-out of
/// the object @p bus. Logs nothing.
[[nodiscard]] NameClaim claimBusName(QDBusConnectionInterface *bus, const QString &name);

} // namespace halvex
