// SPDX-License-Identifier: MIT
#include "services/systemctl.h"

#include "util/child_process.h"

#include <QBuffer>
#include <QByteArray>
#include <QTextStream>

namespace halvex {
namespace {

constexpr const char *systemctlPath = "/usr/bin/systemctl";
constexpr int changeTimeoutMs = 30000;
constexpr int startTimeoutMs = 30000;
constexpr int noTimeout = -1;

} // namespace

bool changeWithSystemctl(const QStringList &arguments)
{
    bool hasSucceeded = false;
    ChildProcess systemctl;
    QObject::connect(&systemctl, qOverload<int, QProcess::ExitStatus>(&QProcess::finished),
                     [&hasSucceeded](int exitCode, QProcess::ExitStatus exitStatus) {
                         hasSucceeded = exitCode == 0 && exitStatus == QProcess::NormalExit;
                     });
    systemctl.start(systemctlPath, arguments, QIODevice::ReadWrite);
    static_cast<void>(systemctl.waitForExit(changeTimeoutMs)); // the slot above gets the result
    systemctl.close();
    return hasSucceeded;
}

std::optional<QString> askSystemctl(const QStringList &arguments)
{
    ChildProcess systemctl;
    if (!systemctl.startCapturing(systemctlPath, arguments, QIODevice::ReadOnly) ||
        !systemctl.waitForStarted(startTimeoutMs) || !systemctl.waitForExit(noTimeout)) {
        return std::nullopt;
    }
    QByteArray printed = systemctl.standardOutput();
    QBuffer lines(&printed);
    // A buffer can always be opened. In text mode, a carriage return before a line feed is dropped.
    static_cast<void>(lines.open(QIODevice::ReadOnly | QIODevice::Text));
    return QTextStream(&lines).readLine();
}

} // namespace halvex
