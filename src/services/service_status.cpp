// SPDX-License-Identifier: MIT
#include "services/service_status.h"

#include "services/ai_engine.h"
#include "services/service_names.h"
#include "util/child_process.h"

#include <QBuffer>
#include <QByteArray>
#include <QDebug>
#include <QStringList>
#include <QTextStream>

#include <array>

namespace halvex {
namespace {

constexpr int startLimit = 30000; // ms
constexpr int noLimit = -1;

/// One of the questions that can be asked about a unit.
struct Query
{
    const char *verb;
    int (*answer)(const QString &firstLine);
};

/// By the type that asks them.
constexpr std::array<Query, 3> queries{{
    {"is-active", [](const QString &firstLine) { return firstLine == "active" ? 1 : 0; }},
    {"is-enabled", [](const QString &firstLine) { return firstLine == "enabled" ? 1 : 0; }},
    {"status", [](const QString &firstLine) { return firstLine.isEmpty() ? 2 : 1; }},
}};

QStringList systemctlArguments(const QString &verb, const QString &serviceName)
{
    // A name is a name: without this, "--host=…" would make root run ssh.
    return serviceName.startsWith('-') ? QStringList{verb, "--", serviceName}
                                       : QStringList{verb, serviceName};
}

} // namespace

int getServiceStatus(const QString &serviceName, unsigned type)
{
    if (serviceName == netAiAppName) {
        int state = 0;
        queryEngineState(state);
        return state;
    }
    if (type >= queries.size()) {
        qWarning() << "Invalid type value.";
        return -1;
    }

    const Query &query = queries[type];
    ChildProcess systemctl;
    if (!systemctl.startCapturing("/usr/bin/systemctl", systemctlArguments(query.verb, serviceName),
                                  QIODevice::ReadOnly) ||
        !systemctl.waitForStarted(startLimit) || !systemctl.waitForExit(noLimit)) {
        return -1;
    }
    QByteArray printed = systemctl.standardOutput();
    QBuffer lines(&printed);
    return lines.open(QIODevice::ReadOnly | QIODevice::Text)
               ? query.answer(QTextStream(&lines).readLine())
               : -1;
}

} // namespace halvex
