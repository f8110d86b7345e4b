// SPDX-License-Identifier: MIT
//
// The method bodies of the adaptor whose class is generated from the interface description. Each
// method calls the parent's slot of the same name and returns its result. Nothing is checked or
// converted here.
#include "halvex_desktop_daemon_adapter.h"

#include <QMetaObject>

namespace {

QGenericArgument argument(const QString &in)
{
    return Q_ARG(QString, in);
}

QGenericArgument argument(QString &out)
{
    return Q_ARG(QString &, out);
}

QGenericArgument argument(const QStringList &in)
{
    return Q_ARG(QStringList, in);
}

QGenericArgument argument(const int &in)
{
    return Q_ARG(int, in);
}

QGenericArgument argument(const DetectType &in)
{
    return Q_ARG(DetectType, in);
}

template <typename... Arguments>
int forward(QObject *service, const char *slot, Arguments &...arguments)
{
    int status = -1;
    QMetaObject::invokeMethod(service, slot, Q_RETURN_ARG(int, status), argument(arguments)...);
    return status;
}

} // namespace

halvexDesktopDaemonAdapter::halvexDesktopDaemonAdapter(QObject *parent)
    : QDBusAbstractAdaptor(parent)
{
    setAutoRelaySignals(true);
}

halvexDesktopDaemonAdapter::~halvexDesktopDaemonAdapter() = default;

int halvexDesktopDaemonAdapter::generateLogFile()
{
    return forward(parent(), __func__);
}

int halvexDesktopDaemonAdapter::getAiConfig(DetectType type, const QString &key, QString &value)
{
    return forward(parent(), __func__, type, key, value);
}

int halvexDesktopDaemonAdapter::getAiInferencesCount(QString &count)
{
    return forward(parent(), __func__, count);
}

int halvexDesktopDaemonAdapter::getEventTotalCount(QString &count)
{
    return forward(parent(), __func__, count);
}

int halvexDesktopDaemonAdapter::getInterventionConfig(const QString &actionName,
                                                      const QString &fieldName, QString &fieldValue)
{
    return forward(parent(), __func__, actionName, fieldName, fieldValue);
}

int halvexDesktopDaemonAdapter::getNotifyConfig(QString &notifyDisabled, QString &notifyTimeout,
                                                QString &notifyFold)
{
    return forward(parent(), __func__, notifyDisabled, notifyTimeout, notifyFold);
}

int halvexDesktopDaemonAdapter::getServiceStatus(const QString &serviceName, int type)
{
    return forward(parent(), __func__, serviceName, type);
}

int halvexDesktopDaemonAdapter::installPackages(const QStringList &packagePaths)
{
    return forward(parent(), __func__, packagePaths);
}

int halvexDesktopDaemonAdapter::restartService(const QString &serviceName)
{
    return forward(parent(), __func__, serviceName);
}

int halvexDesktopDaemonAdapter::setAiConfig(DetectType type, const QString &key,
                                            const QString &value)
{
    return forward(parent(), __func__, type, key, value);
}

int halvexDesktopDaemonAdapter::setInterventionConfig(const QString &actionName,
                                                      const QString &fieldName,
                                                      const QString &fieldValue)
{
    return forward(parent(), __func__, actionName, fieldName, fieldValue);
}

int halvexDesktopDaemonAdapter::setNotifyConfig(const QString &notifyDisabled,
                                                const QString &notifyTimeout,
                                                const QString &notifyFold)
{
    return forward(parent(), __func__, notifyDisabled, notifyTimeout, notifyFold);
}

int halvexDesktopDaemonAdapter::setServiceStatus(const QString &serviceName, int status, int type)
{
    return forward(parent(), __func__, serviceName, status, type);
}
