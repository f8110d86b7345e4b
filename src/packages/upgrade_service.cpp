// SPDX-License-Identifier: MIT
#include "packages/upgrade_service.h"

#include "packages/package_list.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDebug>

namespace halvex {
namespace {

constexpr const char *serviceName = "com.norva.systemupgrade";
constexpr const char *servicePath = "/com/norva/systemupgrade";
constexpr const char *serviceInterface = "com.norva.systemupgrade.interface";

} // namespace

std::unique_ptr<QDBusInterface> connectUpgradeService(QObject *receiver, const char *progressSlot,
                                                      const char *finishedSlot)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        return nullptr;
    }
    auto proxy = std::make_unique<QDBusInterface>(serviceName, servicePath, serviceInterface, bus);
    // Not the proxy's signals: it has none if the service is not there yet.
    bus.connect(serviceName, servicePath, serviceInterface, "InstalldebStatusChanged", "iss",
                receiver, progressSlot);
    bus.connect(serviceName, servicePath, serviceInterface, "UpdateInstallFinished", "basss",
                receiver, finishedSlot);
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
