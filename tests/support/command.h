// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace host {

/// The results of a finished command.
struct CommandResult
{
    int exitCode = -1; ///< -1 if the command did not start, crashed or did not exit in time
    QByteArray output;
    QByteArray errors;
};

/// Runs @p command, whose first entry is the program, and waits until it exits.
///
/// @param environment  entries NAME=value of the command's environment; nothing else is in it
/// @param input        what the command reads from standard input
[[nodiscard]] CommandResult
run(const QStringList &command,
    const QStringList &environment = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin"},
    const QByteArray &input = {});

} // namespace host
