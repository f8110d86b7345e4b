// SPDX-License-Identifier: MIT
//
// A service that does the same work as the daemon's getEventTotalCount and nothing else: the
// questions to the bus, the reads of /proc, the status tool and the state file, in one function.
// With an argument, which is its bus name, the service also writes a line to Qt's log and creates a
// proxy, as the daemon does at its start. This shows how much memory Qt needs for these two steps.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDebug>
#include <QFile>
#include <QFileInfo>

#include <array>
#include <cstdio>
#include <optional>

class BareService : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "bench.bare")

public slots:
    int getEventTotalCount(QString &count)
    {
        QDBusConnectionInterface *bus = connection().interface();
        const QString sender = message().service();
        const QString process = QString("/proc/%1/").arg(bus->servicePid(sender).value());
        QFile environment(process + "environ");
        static_cast<void>(environment.open(QIODevice::ReadOnly));
        const QList<QByteArray> entries = environment.readAll().split('\0');
        for (const char *name : {"user", "mnt", "pid"}) {
            const auto linkOf = [name](const QString &of) {
                return QFile::symLinkTarget(of + "ns/" + name).section('/', -1);
            };
            if (linkOf("/proc/1/") != linkOf(process)) {
                return -999;
            }
        }
        static_cast<void>(bus->serviceUid(sender).value());
        static_cast<void>(bus->serviceUid(sender).value());
        std::FILE *tool = popen("/usr/sbin/getstatus", "re");
        std::array<char, 1024> line{};
        while (std::fgets(line.data(), line.size(), tool) != nullptr) {
        }
        pclose(tool);
        if (entries.contains("LD_PRELOAD=") || !QFileInfo(process + "exe").exists() ||
            QFileInfo(process + "exe").canonicalFilePath().isEmpty()) {
            return -999;
        }
        QFile state("/var/lib/halvex/var/run/halvex-research.state");
        static_cast<void>(state.open(QIODevice::ReadOnly));
        count = QString::fromUtf8(state.readAll()).section('\'', 1, 1);
        return 0;
    }
};

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    BareService service;
    QDBusConnection bus = QDBusConnection::systemBus();
    bus.registerObject("/bench", &service, QDBusConnection::ExportAllSlots);
    std::optional<QDBusInterface> proxy;
    if (argc > 1) {
        proxy.emplace("com.norva.systemupgrade", "/com/norva/systemupgrade",
                      "com.norva.systemupgrade.interface", bus);
        qDebug() << "dbus service start";
    }
    return bus.registerService(argc > 1 ? argv[1] : "bench.bare") ? QCoreApplication::exec() : 1;
}

#include "bare_adaptor.moc"
