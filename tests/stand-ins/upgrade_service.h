// SPDX-License-Identifier: MIT
//
// The objects of the upgrade service's stand-in.
#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QObject>
#include <QStringList>
#include <QVariantList>

#include <cstdlib>

/// The service as the daemon sees it.
class UpgradeService : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.norva.systemupgrade.interface")

public:
    enum class Answer { Values, Error, Silence, Departure };

    Answer answer = Answer::Silence;
    QVariantList values;
    QString errorName;
    QString errorText;
    QStringList lastRequest;
    int requests = 0;
    int stepsBeforeAnswer = 0; ///< if above 0, the installation ends before the answer

public slots:
    // Only the introspection uses the declared return values. The slot sends its answers itself.
    int InstallPackages(const QStringList &packages, QString & /*details*/)
    {
        lastRequest = packages;
        ++requests;
        announceSteps(packages);
        setDelayedReply(true);
        switch (answer) {
        case Answer::Values:
            connection().send(message().createReply(values));
            break;
        case Answer::Error:
            connection().send(message().createErrorReply(errorName, errorText));
            break;
        case Answer::Silence:
            break;
        case Answer::Departure:
            std::_Exit(0);
        }
        return 0;
    }

signals:
    void InstalldebStatusChanged(int percent, const QString &status, const QString &details);
    void UpdateInstallFinished(bool success, const QStringList &packages, const QString &errorCode,
                               const QString &errorMsg);

private:
    void announceSteps(const QStringList &packages)
    {
        for (int percent = 0; percent < stepsBeforeAnswer; ++percent) {
            emit InstalldebStatusChanged(percent, "installing", packages.value(0));
        }
        if (stepsBeforeAnswer > 0) {
            emit UpdateInstallFinished(true, packages, "", "");
        }
    }
};

/// The service, but with a method that is declared to have no reply (see --never-replies).
class OneWayUpgradeService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.norva.systemupgrade.interface")

public slots:
    Q_NOREPLY void InstallPackages(const QStringList & /*packages*/) {}

signals:
    void InstalldebStatusChanged(int percent, const QString &status, const QString &details);
    void UpdateInstallFinished(bool success, const QStringList &packages, const QString &errorCode,
                               const QString &errorMsg);
};

/// The object by which a test controls the service.
class Control : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.norva.systemupgrade.control")

public:
    explicit Control(UpgradeService &controlled) : service(controlled) {}

public slots:
    void replyWith(const QVariantList &values)
    {
        service.answer = UpgradeService::Answer::Values;
        service.values = values;
    }

    void replyWithError(const QString &name, const QString &text)
    {
        service.answer = UpgradeService::Answer::Error;
        service.errorName = name;
        service.errorText = text;
    }

    void leaveWhenCalled() { service.answer = UpgradeService::Answer::Departure; }

    /// Makes each request emit @p steps signals of progress, and then the signal of the
    /// installation's end, before the request is answered.
    void emitBeforeAnswering(int steps) { service.stepsBeforeAnswer = steps; }

    /// The packages of the last request.
    [[nodiscard]] QStringList lastRequest() const { return service.lastRequest; }

    /// The number of requests so far.
    [[nodiscard]] int requests() const { return service.requests; }

    void emitProgress(int percent, const QString &status, const QString &details)
    {
        emit service.InstalldebStatusChanged(percent, status, details);
    }

    void emitFinished(bool success, const QStringList &packages, const QString &errorCode,
                      const QString &errorMsg)
    {
        emit service.UpdateInstallFinished(success, packages, errorCode, errorMsg);
    }

private:
    UpgradeService &service;
};
