// SPDX-License-Identifier: MIT
#include "dbus/bus_names.h"
#include "dbus/daemon_service.h"
#include "halvex_desktop_daemon_adapter.h"
#include "security/bus_name_claim.h"
#include "security/process_environment.h"
#include "util/standard_streams.h"
#include "util/watchdog.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QDebug>

#include <clocale>
#include <cstdio>
#include <memory>

int main(int argc, char **argv)
{
    halvex::makeEnvironmentSafe();
    static_cast<void>(setlocale(LC_ALL, "")); // continue if the host lacks the locale
    // If the output is a file or a journal, write each line at once, not at exit.
    static_cast<void>(std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ));
    halvex::keepOutputFromBlocking();

    // These objects are destroyed in the reverse order, the bus handle first.
    const QCoreApplication application(argc, argv);
    const auto watchdog = halvex::startWatchdog();
    const auto service = std::make_unique<halvexDesktopDaemonService>();
    const auto adapter = std::make_unique<halvexDesktopDaemonAdapter>(service.get());
    QDBusConnection bus = QDBusConnection::systemBus();

    if (!bus.isConnected()) {
        qDebug() << "Can not conneced to system bus, exiting ..." << Qt::endl;
        // This exit() does nothing, because the event loop does not run yet. Without a bus,
        // claiming the name below fails, and the daemon exits there.
        QCoreApplication::exit(1);
    }
    const bool isAnswered = service->isAnsweredByTheBus();
    if (!isAnswered || !bus.registerService(halvex::busName)) {
        if (isAnswered) {
            halvex::pingOwner(bus, halvex::busName, halvex::objectPath);
        }
        // The message has always had the error of a new connection, not that of the failed claim.
        const auto fresh =
            QDBusConnection::connectToBus(QDBusConnection::SystemBus, halvex::busName);
        qDebug() << fresh.lastError().message() << Qt::endl;
        QCoreApplication::exit(1);
        return 1;
    }
    if (!bus.registerObject(halvex::objectPath, service.get(), QDBusConnection::ExportAdaptors)) {
        // The daemon runs on without the object, and callers get a bus error for an unknown object.
        qDebug() << "failed to register halvex desktop service: " << bus.lastError().message()
                 << Qt::endl;
    }
    qDebug() << "dbus service start" << Qt::endl;
    if (watchdog) {
        watchdog->setCheck([&service] { return service->checkBus(); });
    }
    return QCoreApplication::exec();
}
