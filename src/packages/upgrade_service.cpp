// SPDX-License-Identifier: MIT
#include "packages/upgrade_service.h"

#include "packages/package_list.h"
#include "util/status.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDebug>

namespace halvex {
namespace {

constexpr const char *serviceName = "com.norva.systemupgrade";
constexpr const char *servicePath = "/com/norva/systemupgrade";
constexpr const char *serviceInterface = "com.norva.systemupgrade.interface";

// Statuses that installPackages() returns in addition to those of the service.
constexpr int answeredByAnother = -2;
constexpr int noAnswerToWaitFor = -3;

} // namespace

std::unique_ptr<QDBusInterface> connectUpgradeService(QObject *receiver, const char *progressSlot,
                                                      const char *finishedSlot)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        return nullptr;
    }
    auto proxy = std::make_unique<QDBusInterface>(serviceName, servicePath, serviceInterface, bus);
    // Do not connect through the proxy: it knows no signals if the service is not running yet.
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
        return failed;
    }
    if (upgradeInterface == nullptr) {
        qDebug() << "no found SystemUpdateInterface";
        return failed;
    }
    const QDBusMessage reply =
        upgradeInterface->call(QDBus::AutoDetect, "InstallPackages", packages);
    if (reply.type() == QDBusMessage::ErrorMessage) {
        qDebug() << "Error occurred:" << reply.errorMessage();
        return failed;
    }
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return noAnswerToWaitFor;
    }
    if (reply.arguments().size() < 2) {
        qDebug() << "no receive reply message";
        return answeredByAnother;
    }
    qDebug() << "receive message" << reply.arguments();
    return reply.arguments().first().toInt();
}

} // namespace halvex
