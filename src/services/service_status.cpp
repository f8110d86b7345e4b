// SPDX-License-Identifier: MIT
#include "services/service_status.h"

#include "services/ai_engine.h"
#include "services/service_names.h"
#include "services/systemctl.h"
#include "util/status.h"

#include <QDebug>
#include <QStringList>

#include <array>

namespace halvex {
namespace {

/// One of the questions that can be asked about a unit.
struct Query
{
    const char *verb;
    int (*answer)(const QString &firstLine);
};

/// Indexed by ServiceQuery.
constexpr std::array<Query, 3> queries{{
    {"is-active", [](const QString &firstLine) { return firstLine == "active" ? 1 : 0; }},
    {"is-enabled", [](const QString &firstLine) { return firstLine == "enabled" ? 1 : 0; }},
    {"status", [](const QString &firstLine) { return firstLine.isEmpty() ? 2 : 1; }},
}};

QStringList systemctlArguments(const QString &verb, const QString &serviceName)
{
    // "--" keeps systemctl from taking a name as an option: "--host=…" would run ssh as root.
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
        return failed;
    }

    const Query &query = queries[type];
    const auto firstLine = askSystemctl(systemctlArguments(query.verb, serviceName));
    return firstLine ? query.answer(*firstLine) : failed;
}

} // namespace halvex
