// SPDX-License-Identifier: MIT
#include "security/bus_name_claim.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
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

void pingOwner(const QDBusConnection &bus, const QString &name, const QString &path)
{
    constexpr int timeoutMs = 1000;
    QDBusMessage ping =
        QDBusMessage::createMethodCall(name, path, "org.freedesktop.DBus.Peer", "Ping");
    ping.setAutoStartService(false);
    // The answer does not matter: a living owner keeps the name.
    static_cast<void>(bus.call(ping, QDBus::Block, timeoutMs));
}

} // namespace halvex
