// SPDX-License-Identifier: MIT
#include "support/command.h"

#include "support/wait_for.h"

#include <QProcess>

namespace host {

namespace {

/// A command may consist of thousands of short steps, such as random calls.
constexpr int maxRunMs = 3 * patienceMs;

} // namespace

CommandResult run(const QStringList &command, const QStringList &environment,
                  const QByteArray &input)
{
    QProcess process;
    process.setEnvironment(environment);
    process.start(command.first(), command.mid(1));
    process.write(input);
    process.closeWriteChannel();
    CommandResult result;
    if (process.waitForFinished(maxRunMs) && process.exitStatus() == QProcess::NormalExit) {
        result.exitCode = process.exitCode();
    }
    result.output = process.readAllStandardOutput();
    result.errors = process.readAllStandardError();
    return result;
}

} // namespace host
