// SPDX-License-Identifier: MIT
//
// Preloaded into the daemon by a test: registers another object at the daemon's path before the
// daemon can.
#include "dbus/bus_names.h"

#include <QCoreApplication>
#include <QDBusConnection>

namespace {

void takeObjectPath()
{
    static QObject other;
    QDBusConnection::systemBus().registerObject(halvex::objectPath, &other,
                                                QDBusConnection::ExportAdaptors);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(takeObjectPath)
