// SPDX-License-Identifier: MIT
#pragma once

class QDBusConnectionInterface;
class QString;

namespace halvex {

enum class NameClaim {
    Owned,
    Refused,    ///< by the bus, or because there is no connection to it
    Unanswered, ///< no answer arrives: messages that came before it fill the bus library's queue
};

/// Claims the name @p name on the bus @p bus, which may be null. Waits for as long as the time-out
/// of
/// @p bus. Logs nothing.
[[nodiscard]] NameClaim claimBusName(QDBusConnectionInterface *bus, const QString &name);

} // namespace halvex
