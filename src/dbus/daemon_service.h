// SPDX-License-Identifier: MIT
//
// The object with the daemon's bus methods, its two signals and the paths of its files. Each slot
// asks the gate and calls the module that does the work. No call terminates the daemon: a call
// fails if memory runs out, or if its reply is too long for the bus.
#pragma once

#include "dbus/bus_watch.h"
#include "dbus/detect_type.h"
#include "security/secure_caller_checker.h"
#include "util/expendable_worker.h"
#include "util/system_log.h"

#include <QDBusContext>
#include <QDBusInterface>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <initializer_list>
#include <memory>

/// Serves every bus method. Each method returns a status: 0 for success (for getServiceStatus, 0
/// means "no"), -1 for failure, -999 for a refused caller. If the gate refuses the caller, the line
/// "The caller has no permission" is written to the system log (LOG_INFO), and no out-value is
/// changed. Each module describes its other statuses.
class halvexDesktopDaemonService : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    /// Initialises the gate, registers DetectType and determines the host's edition. Connects to
    /// the signals of the upgrade service, unless the host is a server edition or the bus does not
    /// answer.
    explicit halvexDesktopDaemonService(QObject *parent = nullptr);

    // The fixed paths of the files that the modules work on.
    [[nodiscard]] QString interventionConfigPath() const;
    [[nodiscard]] QString notifyConfigPath() const;
    [[nodiscard]] QString blockTimePath() const;
    /// Returns one of two paths. The host's edition selects it; a caller's DetectType has no
    /// influence.
    [[nodiscard]] QString aiConfigPath() const;
    [[nodiscard]] QString alertsDirPath() const;
    [[nodiscard]] QString alertsExportPath() const;
    [[nodiscard]] QString researchStatePath() const;

    /// Tells whether the bus answered when the daemon claimed the two names that protect its
    /// connections. If it did not, queued messages block the bus library, and only a restarted
    /// daemon can serve calls. True without a system bus.
    [[nodiscard]] bool isAnsweredByTheBus() const noexcept { return isAnswered; }

    /// Tells whether the daemon's two connections to the system bus work, and whether incoming
    /// calls are served in time.
    [[nodiscard]] bool checkBus();

signals:
    void installProgress(int percent, const QString &status, const QString &details);
    /// @param success    0 when the installation succeeded, 1 when it failed
    /// @param errorCode  the readable description of the upgrade service's error code
    void installFinished(int success, const QStringList &packages, const QString &errorCode,
                         const QString &errorMsg);

    // The function of the same name in the module describes arguments, further statuses and
    // out-values.
public slots:
    int getServiceStatus(const QString &serviceName, int type);
    int setServiceStatus(const QString &serviceName, int status, int type);
    int restartService(const QString &serviceName);
    int getInterventionConfig(const QString &actionName, const QString &fieldName,
                              QString &fieldValue);
    int getNotifyConfig(QString &notifyDisabled, QString &notifyTimeout, QString &notifyFold);
    int setInterventionConfig(const QString &actionName, const QString &fieldName,
                              const QString &fieldValue);
    int setNotifyConfig(const QString &notifyDisabled, const QString &notifyTimeout,
                        const QString &notifyFold);
    int getAiConfig(DetectType type, const QString &key, QString &value);
    int setAiConfig(DetectType type, const QString &key, const QString &value);
    int installPackages(const QStringList &packagePaths);
    int generateLogFile();
    int getEventTotalCount(QString &eventCount);
    int getAiInferencesCount(QString &inferenceCount);

private slots:
    void handleInstallProgress(int percent, const QString &status, const QString &details);
    void handleInstallFinished(bool success, const QStringList &packages, const QString &errorCode,
                               const QString &errorMsg);

private:
    /// What a method does to the system. This decides which callers are accepted.
    enum class Access {
        Read,   ///< any allowed front end
        Change, ///< only an allowed front end that an administrator runs
    };

    /// Tells whether the gate accepts the bus caller of the current slot. If there is no bus
    /// caller, refuses with the warning "Not a DBus call".
    [[nodiscard]] bool checkCaller(bool requireAdmin);

    /// Like checkCaller(), but refuses the caller as well if memory runs out during the check.
    [[nodiscard]] bool admits(Access access) noexcept;

    /// Runs @p work if the gate accepts the caller, and returns its status. Only this function
    /// answers a refused caller.
    ///
    /// The status is -1 and the texts are empty if @p work throws an exception, for example because
    /// memory runs out, or if the texts are too long for a reply.
    ///
    /// @param outTexts  the texts that @p work fills
    template <typename Work>
    int guarded(Access access, Work work, std::initializer_list<QString *> outTexts = {});

    std::unique_ptr<QDBusInterface> upgradeInterface;
    bool isServerEdition = false;
    bool isAnswered = true; ///< whether the bus answered the claims of the protecting names
    /// Writes the alert export; must be created before any thread.
    halvex::ExpendableWorker exportWorker{"halvex-export"};
    SecureCallerChecker callerChecker;
    halvex::SystemLog systemLog;
    halvex::BusWatch busWatch;
    QTimer idleTimer; ///< fires after a second without a call
};
