// SPDX-License-Identifier: MIT
#include "security/bus_name_claim.h"

#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusReply>

namespace halvex {

NameClaim claimBusName(QDBusConnectionInterface *bus, const QString &name)
{
    if (bus == nullptr) {
        return NameClaim::Refused;
    }
    const auto reply = bus->registerService(name);
    if (!reply.isValid()) {
        return reply.error().type() == QDBusError::NoReply ? NameClaim::Unanswered
                                                           : NameClaim::Refused;
    }
    return reply.value() == QDBusConnectionInterface::ServiceRegistered ? NameClaim::Owned
                                                                        : NameClaim::Refused;
}

} // namespace halvex
