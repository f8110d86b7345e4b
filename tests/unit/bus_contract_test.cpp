// SPDX-License-Identifier: MIT
//
// Tests the Qt meta-objects of the daemon's classes, and the service object without a bus. The
// tests in tests/bus cover the bus interface that front ends see.
#include "dbus/daemon_service.h"
#include "halvex_desktop_daemon_adapter.h"
#include "security/secure_caller_checker.h"
#include "support/host_files.h"
#include "support/message_log.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QMetaMethod>

#include <gtest/gtest.h>

namespace {

/// The methods that @p metaObject itself declares: "kind access type signature".
QStringList ownMethods(const QMetaObject &metaObject)
{
    QStringList methods;
    for (int i = metaObject.methodOffset(); i < metaObject.methodCount(); ++i) {
        const QMetaMethod method = metaObject.method(i);
        methods << QString("%1 %2 %3 %4")
                       .arg(method.methodType() == QMetaMethod::Signal ? "signal" : "slot",
                            method.access() == QMetaMethod::Private ? "private" : "public",
                            method.typeName(), QString::fromUtf8(method.methodSignature()));
    }
    return methods;
}

TEST(BusContract, TheServiceDeclaresItsSignalsAndSlotsInOrder)
{
    EXPECT_EQ(ownMethods(halvexDesktopDaemonService::staticMetaObject),
              (QStringList{"signal public void installProgress(int,QString,QString)",
                           "signal public void installFinished(int,QStringList,QString,QString)",
                           "slot public int getServiceStatus(QString,int)",
                           "slot public int setServiceStatus(QString,int,int)",
                           "slot public int restartService(QString)",
                           "slot public int getInterventionConfig(QString,QString,QString&)",
                           "slot public int getNotifyConfig(QString&,QString&,QString&)",
                           "slot public int setInterventionConfig(QString,QString,QString)",
                           "slot public int setNotifyConfig(QString,QString,QString)",
                           "slot public int getAiConfig(DetectType,QString,QString&)",
                           "slot public int setAiConfig(DetectType,QString,QString)",
                           "slot public int installPackages(QStringList)",
                           "slot public int generateLogFile()",
                           "slot public int getEventTotalCount(QString&)",
                           "slot public int getAiInferencesCount(QString&)",
                           "slot private void handleInstallProgress(int,QString,QString)",
                           "slot private void handleInstallFinished(bool,QStringList,QString,"
                           "QString)"}));
}

TEST(BusContract, TheAdaptorDeclaresItsSignalsAndSlotsInAlphabeticalOrder)
{
    EXPECT_EQ(ownMethods(halvexDesktopDaemonAdapter::staticMetaObject),
              (QStringList{"signal public void installFinished(int,QStringList,QString,QString)",
                           "signal public void installProgress(int,QString,QString)",
                           "slot public int generateLogFile()",
                           "slot public int getAiConfig(DetectType,QString,QString&)",
                           "slot public int getAiInferencesCount(QString&)",
                           "slot public int getEventTotalCount(QString&)",
                           "slot public int getInterventionConfig(QString,QString,QString&)",
                           "slot public int getNotifyConfig(QString&,QString&,QString&)",
                           "slot public int getServiceStatus(QString,int)",
                           "slot public int installPackages(QStringList)",
                           "slot public int restartService(QString)",
                           "slot public int setAiConfig(DetectType,QString,QString)",
                           "slot public int setInterventionConfig(QString,QString,QString)",
                           "slot public int setNotifyConfig(QString,QString,QString)",
                           "slot public int setServiceStatus(QString,int,int)"}));
}

TEST(BusContract, TheAdaptorDeclaresOnlyTheInterfaceNameAndTheIntrospection)
{
    const QMetaObject &adapter = halvexDesktopDaemonAdapter::staticMetaObject;
    ASSERT_EQ(adapter.classInfoCount() - adapter.classInfoOffset(), 2);
    const QMetaClassInfo interface = adapter.classInfo(adapter.classInfoOffset());
    EXPECT_STREQ(interface.name(), "D-Bus Interface");
    EXPECT_STREQ(interface.value(), "com.norva.halvex.desktop.com.norva.halvex.desktop");
    EXPECT_STREQ(adapter.classInfo(adapter.classInfoOffset() + 1).name(), "D-Bus Introspection");
}

TEST(BusContract, TheCheckerDeclaresNoMethodOrProperty)
{
    const QMetaObject &checker = SecureCallerChecker::staticMetaObject;
    EXPECT_STREQ(checker.className(), "SecureCallerChecker");
    EXPECT_EQ(ownMethods(checker), QStringList());
    EXPECT_EQ(checker.propertyCount(), checker.propertyOffset());
}

class ServiceObject : public testing::Test
{
protected:
    MessageLog log;
};

TEST_F(ServiceObject, ACallThatDoesNotComeOverTheBusIsRefused)
{
    halvexDesktopDaemonService service;
    QString count = "untouched";
    EXPECT_EQ(service.getEventTotalCount(count), -999);
    EXPECT_EQ(count, "untouched");
    EXPECT_EQ(service.generateLogFile(), -999);
    EXPECT_EQ(service.restartService("halvex-ebpf"), -999);
    EXPECT_EQ(log.messages(), (QStringList{"warning: Not a DBus call", "warning: Not a DBus call",
                                           "warning: Not a DBus call"}));
}

TEST_F(ServiceObject, TheAdaptorForwardsTheStatusAndDoesNotChangeOutValues)
{
    halvexDesktopDaemonService service;
    halvexDesktopDaemonAdapter adapter(&service);
    QString disabled = "a";
    QString timeout = "b";
    QString fold = "c";
    EXPECT_EQ(adapter.getNotifyConfig(disabled, timeout, fold), -999);
    EXPECT_EQ((QStringList{disabled, timeout, fold}), (QStringList{"a", "b", "c"}));
    EXPECT_EQ(adapter.setServiceStatus("halvex-ebpf", 1, 0), -999);
    EXPECT_EQ(adapter.setAiConfig(DetectType{0}, "key", "value"), -999);
    EXPECT_EQ(adapter.installPackages({"halvex-net-ai"}), -999);
}

TEST_F(ServiceObject, ThePathsAreFixed)
{
    host::writeFile("/etc/os-release", "ID=norva\n");
    const halvexDesktopDaemonService service;
    EXPECT_EQ(service.interventionConfigPath(), "/etc/halvex/intervention.conf");
    EXPECT_EQ(service.notifyConfigPath(), "/etc/halvex/research/etc/ossec.conf");
    EXPECT_EQ(service.blockTimePath(), "/etc/halvex/interventions/.block_time");
    EXPECT_EQ(service.aiConfigPath(), "/usr/lib/halvex_net_ai/config.yaml");
    EXPECT_EQ(service.alertsDirPath(), "/var/log/halvex/logs/alerts");
    EXPECT_EQ(service.alertsExportPath(), "/tmp/halvex_alerts.log");
    EXPECT_EQ(service.researchStatePath(), "/var/lib/halvex/var/run/halvex-research.state");
}

TEST_F(ServiceObject, OnAServerTheAiSettingsFileIsThatOfTheDgaDetector)
{
    host::writeFile("/etc/os-release", "ID=norva-server\n");
    const halvexDesktopDaemonService service;
    EXPECT_EQ(service.aiConfigPath(), "/opt/norva-ai-dga-detect/config.yaml");
}

TEST_F(ServiceObject, TheEditionIsDeterminedOnlyOnce)
{
    host::writeFile("/etc/os-release", "ID=norva\n");
    const halvexDesktopDaemonService service;
    host::writeFile("/etc/os-release", "ID=norva-server\n");
    EXPECT_EQ(service.aiConfigPath(), "/usr/lib/halvex_net_ai/config.yaml");
}

TEST_F(ServiceObject, DetectTypeIsAStructureOfOneIntegerOnTheBus)
{
    const halvexDesktopDaemonService service;
    const int type = QMetaType::type("DetectType");
    ASSERT_NE(type, int(QMetaType::UnknownType));
    EXPECT_STREQ(QDBusMetaType::typeToSignature(type), "(i)");
}

} // namespace
