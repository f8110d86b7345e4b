// SPDX-License-Identifier: MIT
#include "util/command_runner.h"

#include "util/child_process.h"
#include "util/utf8_text.h"

#include <QDebug>
#include <QProcessEnvironment>

#include <csignal>

namespace halvex {

std::map<int, QString> commandTable;

namespace {

constexpr int lastCommandNumber = 8;
constexpr int timeLimitMs = 30000;
constexpr int jobStartUpMs = 500;

class Shell : public ChildProcess
{
protected:
    void setupChildProcess() override
    {
        ChildProcess::setupChildProcess();
        // The pipes are closed when the call returns. Later output of a background job is lost, but
        // SIGPIPE must not kill the job.
        static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    }
};

QProcessEnvironment cleanEnvironment()
{
    auto environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"IFS", "CDPATH", "ENV", "BASH_ENV", "LD_PRELOAD", "LD_LIBRARY_PATH"}) {
        environment.remove(name);
    }
    return environment;
}

} // namespace

bool runCommand(int commandNumber, QString &output, QString &errorText)
{
    if (commandNumber < 0 || commandNumber > lastCommandNumber) {
        return false;
    }
    const auto entry = commandTable.find(commandNumber);
    if (entry == commandTable.end()) {
        return false;
    }
    const QString command = entry->second;

    Shell shell;
    shell.setProcessEnvironment(cleanEnvironment());
    shell.setWorkingDirectory("/tmp");
    shell.setStandardInputFile("/dev/null");
    if (!shell.startCapturing("/bin/sh", {"-c", command}, QIODevice::ReadWrite) ||
        !shell.waitForStarted(timeLimitMs)) {
        errorText = "Failed to start command:" + command;
        return false;
    }
    // The shell's exit status says nothing about a background job. Wait briefly, so that an
    // immediate failure message is captured.
    const int jobTimeMs = command.endsWith('&') ? jobStartUpMs : 0;
    if (!shell.waitForExit(timeLimitMs, jobTimeMs)) {
        errorText = "Command execution timed out:" + command;
        return false;
    }

    output = utf8Text(shell.standardOutput());
    errorText = utf8Text(shell.standardError());
    if (shell.exitCode() != 0) {
        qDebug() << QString("Command failed (exit code %1): %2\nError: %3")
                        .arg(QString::number(shell.exitCode()), command, errorText);
        return false;
    }
    return true;
}

} // namespace halvex
