// SPDX-License-Identifier: MIT
#include "security/bus_name_claim.h"

#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusReply>
#include <QDebug>

namespace halvex {

bool claimBusName(QDBusConnectionInterface &bus, const QString &name)
{
    const QDBusError error = bus.registerService(name).error();
    if (error.type() == QDBusError::AccessDenied) {
        qWarning() << "The bus policy does not protect the daemon:" << error.message();
    }
    return error.type() != QDBusError::NoReply;
}

} // namespace halvex
