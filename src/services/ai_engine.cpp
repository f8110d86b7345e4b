// SPDX-License-Identifier: MIT
#include "services/ai_engine.h"

#include "config/ai_settings.h"
#include "services/network_probe.h"
#include "services/service_names.h"
#include "util/command_runner.h"
#include "util/status.h"

#include <QChar>
#include <QFile>
#include <QStandardPaths>

#include <optional>

namespace halvex {
namespace {

// Numbers in the command table.
constexpr int listPackages = 1;
constexpr int listProcesses = 2;
constexpr int runEngine = 3;
constexpr int killEngine = 4;
constexpr int listCountScript = 5;
constexpr int listConfig = 6;
constexpr int countInferences = 7;

/// Returns the output of the stored command @p number; nothing if it failed.
std::optional<QString> outputOf(int number)
{
    QString output;
    QString errorText;
    if (!runCommand(number, output, errorText)) {
        return std::nullopt;
    }
    return output;
}

// Statuses of switching on, in addition to those of the package tool.
constexpr int noActiveInterface = -2;
constexpr int internetUnreachable = -3;

QString withoutFinalLineFeed(QString text)
{
    if (text.endsWith('\n')) {
        text.chop(1);
    }
    return text;
}

/// Runs the package tool's command @p number. The tool may print "failed" and still exit with 0.
int runPackageTool(int number)
{
    const auto output = outputOf(number);
    return output && !output->contains("failed") ? succeeded : failed;
}

bool needsInternet(const QString &aiConfigPath)
{
    QString setting;
    // If the setting cannot be read, it is empty, and the internet is not needed.
    static_cast<void>(readAiSetting(aiConfigPath, dgaDetectKey, setting));
    return setting == QChar(1);
}

/// Returns the line of the engine's file list that the stored command @p number selects.
QString listedFile(int number)
{
    const auto output = outputOf(number);
    const QString line = withoutFinalLineFeed(output.value_or(QString()));
    return line.contains(netAiAppName) ? line : "";
}

} // namespace

int switchEngine(unsigned status, const QString &aiConfigPath)
{
    commandTable[runEngine] = "pellmar run halvex.net.ai &";
    commandTable[killEngine] = "pellmar kill halvex.net.ai";
    switch (status) {
    case Off:
        return runPackageTool(killEngine);
    case On:
        if (!hasActiveNetworkInterface()) {
            return noActiveInterface;
        }
        if (needsInternet(aiConfigPath) && !probeInternet()) {
            return internetUnreachable;
        }
        // If the program is missing, the background job fails, but the shell has already exited
        // with 0.
        if (QStandardPaths::findExecutable("pellmar").isEmpty()) {
            return failed;
        }
        return runPackageTool(runEngine);
    default:
        return failed;
    }
}

void queryEngineState(int &state)
{
    commandTable[listPackages] = "pellmar list | grep halvex.net.ai";
    commandTable[listProcesses] = "ps -aux | grep halvex_inference";
    state = EngineMissing;
    const auto packages = outputOf(listPackages);
    if (packages && packages->contains(netAiAppName)) {
        // Search for the full path: the short name also occurs in the command line of the grep
        // process.
        const auto processes = outputOf(listProcesses);
        const bool runs =
            processes && processes->contains("/opt/apps/halvex.net.ai/files/bin/halvex_inference");
        state = runs ? EngineRunning : EngineStopped;
    }
}

int getAiInferencesCount(QString &count)
{
    const QString interpreter = "/usr/bin/python3";
    const QString script = "/usr/lib/halvex_net_ai/getCount.py";
    count = "0";
    if (!QFile::exists(script)) {
        return failed;
    }
    commandTable[countInferences] = QString("%1 %2").arg(interpreter, script);
    if (const auto output = outputOf(countInferences)) {
        count = withoutFinalLineFeed(*output);
    }
    return succeeded;
}

void findEngineCountScript(QString &path)
{
    commandTable[listCountScript] = "pellmar info -L halvex.net.ai | grep getCount";
    path = listedFile(listCountScript);
}

void findEngineConfigPath(QString &path)
{
    commandTable[listConfig] = "pellmar info -L halvex.net.ai | grep config.yaml";
    path = listedFile(listConfig);
}

} // namespace halvex
