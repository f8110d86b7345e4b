// SPDX-License-Identifier: MIT
#include "dbus/daemon_service.h"

#include "config/ai_settings.h"
#include "config/intervention_settings.h"
#include "config/notify_settings.h"
#include "dbus/bus_names.h"
#include "packages/install_error.h"
#include "packages/upgrade_service.h"
#include "security/bus_name_claim.h"
#include "services/ai_engine.h"
#include "services/service_control.h"
#include "services/service_status.h"
#include "stats/alert_export.h"
#include "stats/event_counter.h"
#include "util/host_edition.h"
#include "util/status.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDebug>

#include <chrono>
#include <malloc.h>

namespace {

/// The time limit for the bus's reply to the request for each name. Calls that waited for the start
/// of the daemon are delivered before that reply. If these calls are so large that the bus library
/// stops reading, the reply never arrives. Only a restart of the daemon discards such calls.
constexpr int startTimeoutMs = 5000;

/// Tells whether @p texts fit into a reply. If the daemon sent a message of more than 32 MiB, the
/// system bus would disconnect the daemon, which would lose its name.
bool fitIntoReply(std::initializer_list<QString *> texts)
{
    constexpr int maxTextBytes = 31 << 20;
    int remaining = maxTextBytes;
    for (const QString *text : texts) {
        const int size = text->toUtf8().size();
        if (size > remaining) {
            return false;
        }
        remaining -= size;
    }
    return true;
}

} // namespace

halvexDesktopDaemonService::halvexDesktopDaemonService(QObject *parent)
    : QObject(parent), busWatch(QDBusConnection::systemBus())
{
    QDBusConnectionInterface *bus = QDBusConnection::systemBus().interface();
    if (bus != nullptr) {
        bus->setTimeout(startTimeoutMs);
        isAnswered =
            callerChecker.canAskTheBus() && halvex::claimBusName(*bus, halvex::startBusName);
    }
    halvex::registerDetectType();
    isServerEdition = halvex::detectServerEdition();
    // If the bus does not answer, the daemon exits soon. So it must not wait for the upgrade
    // service first.
    if (!isServerEdition && isAnswered) {
        upgradeInterface = halvex::connectUpgradeService(
            this, SLOT(handleInstallProgress(int, QString, QString)),
            SLOT(handleInstallFinished(bool, QStringList, QString, QString)));
    }
    // After thousands of calls at once, or one call with a large file, the C library keeps free
    // memory. It does not return this memory to the kernel by itself.
    idleTimer.setSingleShot(true);
    idleTimer.setInterval(std::chrono::seconds(1));
    connect(&idleTimer, &QTimer::timeout, this, [] { malloc_trim(0); });
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

bool halvexDesktopDaemonService::checkBus()
{
    return callerChecker.canAskTheBus() && busWatch.check();
}

bool halvexDesktopDaemonService::checkCaller(bool requireAdmin)
{
    if (!calledFromDBus()) {
        qWarning() << "Not a DBus call";
        return false;
    }
    return callerChecker.verifyCaller(message(), connection(), requireAdmin) != 1;
}

bool halvexDesktopDaemonService::admits(Access access) noexcept
{
    try {
        idleTimer.start();
        return checkCaller(access == Access::Change);
    } catch (...) {
        return false; // the caller could not be checked
    }
}

template <typename Work>
int halvexDesktopDaemonService::guarded(Access access, Work work,
                                        std::initializer_list<QString *> outTexts)
{
    halvex::BusWatch::Call call(busWatch);
    if (!admits(access)) {
        systemLog.write("The caller has no permission");
        return halvex::callerRefused;
    }
    call.letIn();
    try {
        const int status = work();
        if (fitIntoReply(outTexts)) {
            return status;
        }
    } catch (...) {
        // For example, a file needs more memory than there is. Only this call fails.
    }
    for (QString *text : outTexts) {
        text->clear();
    }
    return halvex::failed;
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
    return guarded(Access::Read,
                   [&] {
                       return halvex::getInterventionConfig(interventionConfigPath(),
                                                            blockTimePath(), actionName, fieldName,
                                                            fieldValue);
                   },
                   {&fieldValue});
}

int halvexDesktopDaemonService::getNotifyConfig(QString &notifyDisabled, QString &notifyTimeout,
                                                QString &notifyFold)
{
    return guarded(Access::Read,
                   [&] {
                       return halvex::getNotifyConfig(notifyConfigPath(), notifyDisabled,
                                                      notifyTimeout, notifyFold);
                   },
                   {&notifyDisabled, &notifyTimeout, &notifyFold});
}

int halvexDesktopDaemonService::setInterventionConfig(const QString &actionName,
                                                      const QString &fieldName,
                                                      const QString &fieldValue)
{
    return guarded(Access::Change, [&] {
        return halvex::setInterventionConfig(interventionConfigPath(), blockTimePath(), actionName,
                                             fieldName, fieldValue);
    });
}

int halvexDesktopDaemonService::setNotifyConfig(const QString &notifyDisabled,
                                                const QString &notifyTimeout,
                                                const QString &notifyFold)
{
    return guarded(Access::Change, [&] {
        return halvex::setNotifyConfig(notifyConfigPath(), notifyDisabled, notifyTimeout,
                                       notifyFold);
    });
}

int halvexDesktopDaemonService::getAiConfig(DetectType type, const QString &key, QString &value)
{
    return guarded(Access::Read,
                   [&] { return halvex::getAiConfig(aiConfigPath(), type.type, key, value); },
                   {&value});
}

int halvexDesktopDaemonService::setAiConfig(DetectType type, const QString &key,
                                            const QString &value)
{
    return guarded(Access::Change,
                   [&] { return halvex::setAiConfig(aiConfigPath(), type.type, key, value); });
}

int halvexDesktopDaemonService::installPackages(const QStringList &packagePaths)
{
    return guarded(Access::Change,
                   [&] { return halvex::installPackages(upgradeInterface.get(), packagePaths); });
}

int halvexDesktopDaemonService::generateLogFile()
{
    return guarded(Access::Read, [this] {
        return halvex::generateLogFile(exportWorker, alertsDirPath(), alertsExportPath());
    });
}

int halvexDesktopDaemonService::getEventTotalCount(QString &eventCount)
{
    return guarded(Access::Read,
                   [&] { return halvex::getEventTotalCount(researchStatePath(), eventCount); },
                   {&eventCount});
}

int halvexDesktopDaemonService::getAiInferencesCount(QString &inferenceCount)
{
    return guarded(Access::Read, [&] { return halvex::getAiInferencesCount(inferenceCount); },
                   {&inferenceCount});
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
    // In the signal, 0 means success, as in a status.
    emit installFinished(success ? 0 : 1, packages, halvex::describeInstallError(errorCode),
                         errorMsg);
}
