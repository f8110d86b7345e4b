// SPDX-License-Identifier: MIT
#include "services/service_control.h"

#include "services/ai_engine.h"
#include "services/service_names.h"
#include "util/child_process.h"

#include <QDebug>
#include <QStringList>

namespace halvex {
namespace {

bool namesAreAllowed(const QString &serviceNames)
{
    if (!checkServiceNames(serviceNames)) {
        qWarning() << "Invalid service name:" << serviceNames;
        return false;
    }
    return true;
}

QString verb(unsigned status, unsigned type)
{
    if (type == 0) {
        return status == 1 ? "start" : "stop";
    }
    return status == 1 ? "enable" : "disable";
}

int runSystemctl(const QStringList &arguments)
{
    constexpr int timeLimitMs = 30000;
    int result = -1;
    ChildProcess systemctl;
    QObject::connect(&systemctl, qOverload<int, QProcess::ExitStatus>(&QProcess::finished),
                     [&result](int exitCode, QProcess::ExitStatus exitStatus) {
                         if (exitCode == 0 && exitStatus == QProcess::NormalExit) {
                             result = 0;
                         }
                     });
    systemctl.start("/usr/bin/systemctl", arguments, QIODevice::ReadWrite);
    static_cast<void>(systemctl.waitForExit(timeLimitMs)); // the handler knows how it ended
    systemctl.close();
    return result;
}

} // namespace

int setServiceStatus(const QString &serviceNames, unsigned status, unsigned type,
                     const QString &aiConfigPath)
{
    if (!namesAreAllowed(serviceNames)) {
        return -1;
    }
    if (status > 1) {
        qWarning() << "Invalid status value.";
        return -1;
    }
    if (type > 1) {
        qWarning() << "Invalid type value.";
        return -1;
    }
    if (serviceNames == netAiAppName) {
        return switchEngine(status, aiConfigPath);
    }
    // Empty names are kept, although the check above does not see them.
    return runSystemctl(QStringList{verb(status, type)} + serviceNames.split(' '));
}

int restartService(const QString &serviceNames)
{
    if (!namesAreAllowed(serviceNames)) {
        return -1;
    }
    return runSystemctl({"restart", serviceNames});
}

} // namespace halvex
