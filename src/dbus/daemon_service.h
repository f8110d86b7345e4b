// SPDX-License-Identifier: MIT
//
// The object with the daemon's bus methods, its two signals and its table of paths. Each slot asks
// the gate and calls the module that does the work. No call terminates the daemon: a call fails if
// memory runs out, or if its reply is too long for the bus.
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

/// Serves every bus method. Each returns a status: 0 success (of getServiceStatus: no), -1 failure,
/// -999 if the gate refused the caller. In that case the line "The caller has no permission" is
/// written to syslog (LOG_INFO), and no out-value is changed. Other values are the module's.
class halvexDesktopDaemonService : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    /// Initialises the gate, registers DetectType, determines the host's edition and, on any but a
    /// server edition, connects to the upgrade service's signals.
    explicit halvexDesktopDaemonService(QObject *parent = nullptr);

    // The fixed paths of the files that the modules work on.
    [[nodiscard]] QString interventionConfigPath() const;
    [[nodiscard]] QString notifyConfigPath() const;
    [[nodiscard]] QString blockTimePath() const;
    /// Returns one of two files by the host's edition; a caller's DetectType has no influence.
    [[nodiscard]] QString aiConfigPath() const;
    [[nodiscard]] QString alertsDirPath() const;
    [[nodiscard]] QString alertsExportPath() const;
    [[nodiscard]] QString researchStatePath() const;

    /// Tells whether the bus answered both claims of the names that protect the daemon's
    /// connections. Otherwise messages block the bus library, and only a new daemon can serve.
    /// True without a system bus.
    [[nodiscard]] bool isAnsweredByTheBus() const noexcept { return isAnswered; }

    /// Tells whether the daemon's two connections to the system bus work, and incoming calls are
    /// served in time.
    [[nodiscard]] bool hearsTheBus();

signals:
    void installProgress(int percent, const QString &status, const QString &details);
    /// @param success    0 when the installation succeeded, 1 when it failed
    /// @param errorCode  the readable description of the upgrade service's error code
    void installFinished(int success, const QStringList &packages, const QString &errorCode,
                         const QString &errorMsg);

    // For the arguments, further statuses and out-values see the function of the same name in its
    // module.
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
    /// What a method does to the system; this decides which callers it accepts.
    enum class Access {
        Read,   ///< any allowed front end
        Change, ///< only an allowed front end that an administrator runs
    };

    /// Tells whether the bus caller of the current slot is accepted. Refuses, with the warning "Not
    /// a DBus call", if there is no bus caller.
    [[nodiscard]] bool checkCaller(bool requireAdmin);

    /// Like checkCaller(), but refuses the caller as well if memory runs out during the check.
    [[nodiscard]] bool admits(Access access) noexcept;

    /// Runs @p work if the gate accepts the caller, and returns its status. Only this function
    /// produces the answer to a refused caller.
    ///
    /// If the work throws an exception, for example when memory runs out, or if the texts are too
    /// long for a reply, the status is -1 and the texts are empty.
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
