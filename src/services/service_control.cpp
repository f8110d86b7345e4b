// SPDX-License-Identifier: MIT
#include "services/service_control.h"

#include "services/ai_engine.h"
#include "services/service_names.h"
#include "services/systemctl.h"
#include "util/status.h"

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
    if (type == RunState) {
        return status == On ? "start" : "stop";
    }
    return status == On ? "enable" : "disable";
}

int statusOfChange(const QStringList &arguments)
{
    return changeWithSystemctl(arguments) ? succeeded : failed;
}

} // namespace

int setServiceStatus(const QString &serviceNames, unsigned status, unsigned type,
                     const QString &aiConfigPath)
{
    if (!namesAreAllowed(serviceNames)) {
        return failed;
    }
    if (status != Off && status != On) {
        qWarning() << "Invalid status value.";
        return failed;
    }
    if (type != RunState && type != AtBoot) {
        qWarning() << "Invalid type value.";
        return failed;
    }
    if (serviceNames == netAiAppName) {
        return switchEngine(status, aiConfigPath);
    }
    // Empty names are kept here, although the check above ignores them.
    return statusOfChange(QStringList{verb(status, type)} + serviceNames.split(' '));
}

int restartService(const QString &serviceNames)
{
    if (!namesAreAllowed(serviceNames)) {
        return failed;
    }
    return statusOfChange({"restart", serviceNames});
}

} // namespace halvex
