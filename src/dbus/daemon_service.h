// SPDX-License-Identifier: MIT
//
// The one object that carries the daemon's bus methods, its two signals and its table of paths.
// Each slot asks the gate and hands over to the module that does the work. What is its own is that
// no call ends the daemon: one that runs out of memory, or whose answer no bus carries, fails.
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
/// -999 when the gate refused the caller, which then also leaves the line "The caller has no
/// permission" in syslog (LOG_INFO) and every out-value untouched. Other values are the module's.
class halvexDesktopDaemonService : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    /// Makes the gate ready, registers DetectType, finds out the host's edition and, on any but a
    /// server edition, connects to the upgrade service's signals.
    explicit halvexDesktopDaemonService(QObject *parent = nullptr);

    // The fixed paths of the files that the modules work on.
    [[nodiscard]] QString interventionConfigPath() const;
    [[nodiscard]] QString notifyConfigPath() const;
    [[nodiscard]] QString blockTimePath() const;
    /// The host's edition chooses between the two files, never a caller's DetectType.
    [[nodiscard]] QString aiConfigPath() const;
    [[nodiscard]] QString alertsDirPath() const;
    [[nodiscard]] QString alertsExportPath() const;
    [[nodiscard]] QString researchStatePath() const;

    /// Tells whether the daemon's two connections to the system bus owned, at its start, the names
    /// that protect them. Without those it is not to serve.
    [[nodiscard]] bool ownsProtectedNames() const { return isProtected; }

    /// Tells whether the daemon's two connections to the system bus work, own the names that
    /// protect them, and the calls that come in are served in good time.
    [[nodiscard]] bool hearsTheBus();

signals:
    void installProgress(int percent, const QString &status, const QString &details);
    /// @param success    0 when the installation succeeded, 1 when it failed
    /// @param errorCode  the readable description of the upgrade service's error code
    void installFinished(int success, const QStringList &packages, const QString &errorCode,
                         const QString &errorMsg);

    // What the arguments, further statuses and out-values mean is said at the function of the same
    // name in its module.
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
    /// What a method does to the system, and so what its caller must be.
    enum class Access {
        Read,   ///< any allowed front end may
        Change, ///< only an administrator's
    };

    /// Tells whether the bus caller of the current slot may proceed. Refuses, with the warning "Not
    /// a DBus call", when there is none.
    [[nodiscard]] bool checkCaller(bool requireAdmin);

    /// Like checkCaller(), but refuses as well when memory runs out on the way.
    [[nodiscard]] bool admits(Access access) noexcept;

    /// Runs @p work if the gate lets the caller through, and returns its status. The one place that
    /// knows what a refusal looks like.
    ///
    /// Where the work ends in an exception, as when memory runs out, or the texts are too long for
    /// a reply, the status is -1 and the texts are empty.
    ///
    /// @param outTexts  the texts that @p work fills
    template <typename Work>
    int guarded(Access access, Work work, std::initializer_list<QString *> outTexts = {});

    std::unique_ptr<QDBusInterface> upgradeInterface;
    bool isServerEdition = false;
    bool isProtected = false; ///< whether the names that protect it are owned
    /// Writes the alert export; made before any thread.
    halvex::ExpendableWorker exportWorker{"halvex-export"};
    SecureCallerChecker callerChecker;
    halvex::SystemLog systemLog;
    halvex::BusWatch busWatch;
    QTimer idleTimer; ///< fires when no call has come for a second
};
