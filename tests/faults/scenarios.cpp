// SPDX-License-Identifier: MIT
#include "faults/scenarios.h"

#include "support/settings_paths.h"

namespace {

const QByteArray newNotifySettings =
    "<ossec_config>\n<alerts>\n<notify>\n<notify_fold>3</notify_fold>\n"
    "<notify_disabled>1</notify_disabled>\n<notify_timeout>2</notify_timeout>\n</notify>\n"
    "</alerts>\n</ossec_config>\n";

Scenario reading(const QString &name, const QString &method, const QStringList &arguments,
                 const Reply &served)
{
    Scenario scenario;
    scenario.name = name;
    scenario.method = method;
    scenario.arguments = arguments;
    scenario.served = served;
    return scenario;
}

Scenario writing(const QString &name, const QString &method, const QStringList &arguments,
                 const QString &file, const QByteArray &newContent)
{
    Scenario scenario = reading(name, method, arguments, {0});
    scenario.changedFile = file;
    scenario.newContent = newContent;
    return scenario;
}

Scenario countOfEvents(const QString &name, Role role = Role::Allowed)
{
    Scenario scenario = reading(name, "getEventTotalCount", {}, {0, {"1234"}});
    scenario.role = role;
    return scenario;
}

Scenario changeOfNotifySettings(const QString &name, Role role = Role::Allowed)
{
    Scenario scenario =
        writing(name, "setNotifyConfig", {"1", "2", "3"}, settings::notifyPath, newNotifySettings);
    scenario.role = role;
    scenario.saysWhetherSaved = true;
    return scenario;
}

Scenario first(Scenario scenario)
{
    scenario.isFirstCall = true;
    return scenario;
}

} // namespace

const QList<Scenario> &scenarios()
{
    static const QList<Scenario> all{
        reading("getServiceStatus", "getServiceStatus", {"halvex-ebpf", "0"}, {1}),
        reading("getServiceStatusOfTheEngine", "getServiceStatus", {"halvex.net.ai", "0"}, {1}),
        reading("setServiceStatus", "setServiceStatus", {"halvex-ebpf", "1", "0"}, {0}),
        reading("setServiceStatusStartsTheEngine", "setServiceStatus", {"halvex.net.ai", "1", "0"},
                {0}),
        reading("setServiceStatusStopsTheEngine", "setServiceStatus", {"halvex.net.ai", "0", "0"},
                {0}),
        reading("restartService", "restartService", {"halvex-ebpf"}, {0}),
        reading("getNotifyConfig", "getNotifyConfig", {}, {0, {"", "", "1"}}),
        changeOfNotifySettings("setNotifyConfig"),
        reading("getInterventionConfig", "getInterventionConfig", {"block", "timeout"},
                {0, {"30"}}),
        reading("getInterventionConfigOfTheBlockTime", "getInterventionConfig",
                {"block", "blockip_timeout"}, {0, {"600s"}}),
        writing("setInterventionConfig", "setInterventionConfig", {"block", "timeout", "60"},
                settings::interventionPath, "action \"block\"\ntimeout = \"60\"\n"),
        writing("setInterventionConfigOfTheBlockTime", "setInterventionConfig",
                {"block", "blockip_timeout", "900s"}, settings::blockTimePath,
                "TIMEOUT=\"timeout 900s\"\n"),
        reading("getAiConfig", "getAiConfig", {"0", "dga_detect"}, {0, {"0"}}),
        writing("setAiConfig", "setAiConfig", {"0", "dga_detect", "1"}, settings::aiPath,
                "dga_detect: 1"),
        reading("installPackages", "installPackages", {"halvex-net-ai"}, {7}),
        writing("generateLogFile", "generateLogFile", {}, exportPath, allAlerts()),
        countOfEvents("getEventTotalCount"),
        reading("getAiInferencesCount", "getAiInferencesCount", {}, {0, {"42"}}),
        first(countOfEvents("FirstCall")),
        countOfEvents("ForbiddenVariableReads", Role::ForbiddenVariable),
        changeOfNotifySettings("ForbiddenVariableChanges", Role::ForbiddenVariable),
        first(changeOfNotifySettings("ForbiddenVariableChangesFirst", Role::ForbiddenVariable)),
        countOfEvents("OtherProgramReads", Role::OtherProgram),
        changeOfNotifySettings("OtherProgramChanges", Role::OtherProgram),
        changeOfNotifySettings("OrdinaryUserChanges", Role::OrdinaryUser),
        changeOfNotifySettings("WheelMemberChangesWhenSeparated", Role::WheelWhenSeparated),
        changeOfNotifySettings("RootChangesWhenSeparated", Role::RootWhenSeparated),
    };
    return all;
}
