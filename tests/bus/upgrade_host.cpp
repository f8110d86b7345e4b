// SPDX-License-Identifier: MIT
#include "bus/upgrade_host.h"

#include "support/host_files.h"
#include "support/wait_for.h"

#include <QDBusConnection>
#include <QDBusMessage>

void UpgradeHost::SetUp()
{
    host::writeFile("/etc/dbus-1/system.d/com.norva.systemupgrade.conf",
                    "<busconfig><policy user=\"root\">"
                    "<allow own=\"com.norva.systemupgrade\"/>"
                    "<allow send_destination=\"com.norva.systemupgrade\"/>"
                    "</policy></busconfig>\n");
    DaemonHost::SetUp();
}

void UpgradeHost::TearDown()
{
    stopUpgradeService();
    DaemonHost::TearDown();
}

void UpgradeHost::startUpgradeService(const QStringList &arguments)
{
    upgradeService.start(UPGRADE_SERVICE, arguments);
    ASSERT_TRUE(upgradeService.waitForReadyRead(patienceMs))
        << upgradeService.readAllStandardError().constData();
    ASSERT_EQ(upgradeService.readAllStandardOutput(), "ready\n");
}

void UpgradeHost::stopUpgradeService()
{
    upgradeService.kill();
    upgradeService.waitForFinished();
}

QVariant UpgradeHost::order(const char *member, const QVariantList &arguments)
{
    auto message = QDBusMessage::createMethodCall("com.norva.systemupgrade", "/control",
                                                  "com.norva.systemupgrade.control", member);
    message.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::systemBus().call(message, QDBus::Block, patienceMs);
    EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << qPrintable(reply.errorMessage());
    return reply.arguments().value(0);
}

QStringList UpgradeHost::messagesOfTheCall()
{
    const QStringList messages = daemonMessages();
    EXPECT_EQ(messages.value(0), "dbus service start ");
    return messages.mid(1);
}
