// SPDX-License-Identifier: MIT
#include "packages/upgrade_service.h"

#include "packages/package_list.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDebug>

namespace halvex {

std::unique_ptr<QDBusInterface> connectUpgradeService(QObject *receiver)
{
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        return nullptr;
    }
    auto proxy =
        std::make_unique<QDBusInterface>("com.norva.systemupgrade", "/com/norva/systemupgrade",
                                         "com.norva.systemupgrade.interface", bus);
    // The signals are written as the service writes them, for Qt's warnings repeat the texts.
    // clang-format off
    QObject::connect(proxy.get(), SIGNAL(InstalldebStatusChanged(int,QString,QString)),
                     receiver, SLOT(handleInstallProgress(int,QString,QString)));
    QObject::connect(proxy.get(), SIGNAL(UpdateInstallFinished(bool, QStringList, QString, QString)),
                     receiver, SLOT(handleInstallFinished(bool, QStringList, QString, QString)));
    // clang-format on
    return proxy;
}

int installPackages(QDBusInterface *upgradeInterface, const QStringList &packages)
{
    if (!validatePackages(packages)) {
        qWarning() << "Invalid package list:" << packages;
        return -1;
    }
    if (upgradeInterface == nullptr) {
        qDebug() << "no found SystemUpdateInterface";
        return -1;
    }
    const QDBusMessage reply =
        upgradeInterface->call(QDBus::AutoDetect, "InstallPackages", packages);
    if (reply.type() == QDBusMessage::ErrorMessage) {
        qDebug() << "Error occurred:" << reply.errorMessage();
        return -1;
    }
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return -3;
    }
    if (reply.arguments().size() < 2) {
        qDebug() << "no receive reply message";
        return -2;
    }
    qDebug() << "receive message" << reply.arguments();
    return reply.arguments().first().toInt();
}

} // namespace halvex
