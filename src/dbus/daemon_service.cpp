// SPDX-License-Identifier: MIT
#include "dbus/daemon_service.h"

#include "services/ai_engine.h"
#include "services/service_control.h"
#include "services/service_status.h"
#include "stats/event_counter.h"
#include "util/host_edition.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDebug>

#include <syslog.h>

halvexDesktopDaemonService::halvexDesktopDaemonService(QObject *parent) : QObject(parent)
{
    halvex::registerDetectType();
    isServerEdition = halvex::detectServerEdition();
}

QString halvexDesktopDaemonService::interventionConfigPath() const
{
    return "/etc/halvex/intervention.conf";
}

QString halvexDesktopDaemonService::notifyConfigPath() const
{
    return "/etc/halvex/research/etc/ossec.conf";
}

QString halvexDesktopDaemonService::blockTimePath() const
{
    return "/etc/halvex/interventions/.block_time";
}

QString halvexDesktopDaemonService::aiConfigPath() const
{
    return isServerEdition ? "/opt/norva-ai-dga-detect/config.yaml"
                           : "/usr/lib/halvex_net_ai/config.yaml";
}

QString halvexDesktopDaemonService::alertsDirPath() const
{
    return "/var/log/halvex/logs/alerts";
}

QString halvexDesktopDaemonService::alertsExportPath() const
{
    return "/tmp/halvex_alerts.log";
}

QString halvexDesktopDaemonService::researchStatePath() const
{
    return "/var/lib/halvex/var/run/halvex-research.state";
}

bool halvexDesktopDaemonService::checkCaller(bool requireAdmin) const
{
    if (!calledFromDBus()) {
        qWarning() << "Not a DBus call";
        return false;
    }
    return callerChecker.verifyCaller(message(), connection(), requireAdmin) != 1;
}

template <typename Work>
int halvexDesktopDaemonService::guarded(Access access, Work work) const
{
    constexpr int callerRefused = -999;
    if (!checkCaller(access == Access::Change)) {
        syslog(LOG_INFO, "The caller has no permission");
        return callerRefused;
    }
    return work();
}

int halvexDesktopDaemonService::getServiceStatus(const QString &serviceName, int type)
{
    return guarded(Access::Read, [&] {
        return halvex::getServiceStatus(serviceName, static_cast<unsigned>(type));
    });
}

int halvexDesktopDaemonService::setServiceStatus(const QString &serviceName, int status, int type)
{
    return guarded(Access::Change, [&] {
        return halvex::setServiceStatus(serviceName, static_cast<unsigned>(status),
                                        static_cast<unsigned>(type), aiConfigPath());
    });
}

int halvexDesktopDaemonService::restartService(const QString &serviceName)
{
    return guarded(Access::Change, [&] { return halvex::restartService(serviceName); });
}

int halvexDesktopDaemonService::getInterventionConfig(const QString &actionName,
                                                      const QString &fieldName, QString &fieldValue)
{
    Q_UNUSED(actionName)
    Q_UNUSED(fieldName)
    Q_UNUSED(fieldValue)
    return guarded(Access::Read, [] { return -1; });
}

int halvexDesktopDaemonService::getNotifyConfig(QString &notifyDisabled, QString &notifyTimeout,
                                                QString &notifyFold)
{
    Q_UNUSED(notifyDisabled)
    Q_UNUSED(notifyTimeout)
    Q_UNUSED(notifyFold)
    return guarded(Access::Read, [] { return -1; });
}

int halvexDesktopDaemonService::setInterventionConfig(const QString &actionName,
                                                      const QString &fieldName,
                                                      const QString &fieldValue)
{
    Q_UNUSED(actionName)
    Q_UNUSED(fieldName)
    Q_UNUSED(fieldValue)
    return guarded(Access::Change, [] { return -1; });
}

int halvexDesktopDaemonService::setNotifyConfig(const QString &notifyDisabled,
                                                const QString &notifyTimeout,
                                                const QString &notifyFold)
{
    Q_UNUSED(notifyDisabled)
    Q_UNUSED(notifyTimeout)
    Q_UNUSED(notifyFold)
    return guarded(Access::Change, [] { return -1; });
}

int halvexDesktopDaemonService::getAiConfig(DetectType type, const QString &key, QString &value)
{
    Q_UNUSED(type)
    Q_UNUSED(key)
    Q_UNUSED(value)
    return guarded(Access::Read, [] { return -1; });
}

int halvexDesktopDaemonService::setAiConfig(DetectType type, const QString &key,
                                            const QString &value)
{
    Q_UNUSED(type)
    Q_UNUSED(key)
    Q_UNUSED(value)
    return guarded(Access::Change, [] { return -1; });
}

int halvexDesktopDaemonService::installPackages(const QStringList &packagePaths)
{
    Q_UNUSED(packagePaths)
    return guarded(Access::Change, [] { return -1; });
}

int halvexDesktopDaemonService::generateLogFile()
{
    return guarded(Access::Read, [] { return -1; });
}

int halvexDesktopDaemonService::getEventTotalCount(QString &eventCount)
{
    return guarded(Access::Read,
                   [&] { return halvex::getEventTotalCount(researchStatePath(), eventCount); });
}

int halvexDesktopDaemonService::getAiInferencesCount(QString &inferenceCount)
{
    return guarded(Access::Read, [&] { return halvex::getAiInferencesCount(inferenceCount); });
}

void halvexDesktopDaemonService::handleInstallProgress(int percent, const QString &status,
                                                       const QString &details)
{
    emit installProgress(percent, status, details);
}

void halvexDesktopDaemonService::handleInstallFinished(bool success, const QStringList &packages,
                                                       const QString &errorCode,
                                                       const QString &errorMsg)
{
    // Zero means success everywhere in this interface.
    emit installFinished(success ? 0 : 1, packages, errorCode, errorMsg);
}
