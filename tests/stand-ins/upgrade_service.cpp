// SPDX-License-Identifier: MIT
//
// Stands in for the operating system's upgrade service: owns that service's name on the system
// bus, answers "InstallPackages" and emits the two signals. A test controls all this by calls of a
// second object, /control.
//
//   upgrade-service [--never-replies]
//
// With --never-replies its introspection declares "InstallPackages" as a method without a reply.
// Prints "ready" once it owns its name.
#include "stand-ins/upgrade_service.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    UpgradeService service;
    OneWayUpgradeService oneWayService;
    Control control(service);
    QObject *shown = &service;
    if (QCoreApplication::arguments().contains("--never-replies")) {
        shown = &oneWayService;
    }
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerObject("/com/norva/systemupgrade", shown,
                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals) ||
        !bus.registerObject("/control", &control, QDBusConnection::ExportAllSlots) ||
        !bus.registerService("com.norva.systemupgrade")) {
        return 1;
    }
    QTextStream(stdout) << "ready" << Qt::endl;
    return QCoreApplication::exec();
}
