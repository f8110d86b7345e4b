// SPDX-License-Identifier: MIT
#include "services/service_status.h"

#include "services/ai_engine.h"
#include "services/service_names.h"
#include "util/child_process.h"

#include <QDebug>
#include <QStringList>
#include <QTextStream>

#include <array>

namespace halvex {
namespace {

constexpr int startLimit = 30000; // ms
constexpr int noLimit = -1;

enum QueryType : unsigned { IsActive, IsEnabled, HasStatus };

constexpr std::array<const char *, 3> verbs{"is-active", "is-enabled", "status"};

QStringList systemctlArguments(unsigned type, const QString &serviceName)
{
    QStringList arguments{verbs.at(type)};
    // A name is a name: without this, "--host=…" would make root run ssh.
    if (serviceName.startsWith('-')) {
        arguments << "--";
    }
    return arguments << serviceName;
}

int answer(unsigned type, const QString &firstLine)
{
    switch (type) {
    case IsActive:
        return firstLine == "active" ? 1 : 0;
    case IsEnabled:
        return firstLine == "enabled" ? 1 : 0;
    default:
        return firstLine.isEmpty() ? 2 : 1;
    }
}

} // namespace

int getServiceStatus(const QString &serviceName, unsigned type)
{
    if (serviceName == netAiAppName) {
        int state = 0;
        queryEngineState(state);
        return state;
    }
    if (type > HasStatus) {
        qWarning() << "Invalid type value.";
        return -1;
    }

    ChildProcess systemctl;
    systemctl.start("/usr/bin/systemctl", systemctlArguments(type, serviceName),
                    QIODevice::ReadOnly | QIODevice::Text);
    if (!systemctl.waitForStarted(startLimit) || !systemctl.waitForFinished(noLimit)) {
        return -1;
    }
    return answer(type, QTextStream(&systemctl).readLine());
}

} // namespace halvex
