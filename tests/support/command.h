// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace host {

/// What a finished command left.
struct CommandResult
{
    int exitCode = -1; ///< -1 when it did not start, crashed or did not end
    QByteArray output;
    QByteArray errors;
};

/// Runs @p command, its program first, and waits for its end.
///
/// @param environment  entries NAME=value of the command's environment; nothing else is in it
/// @param input        what it reads from standard input
[[nodiscard]] CommandResult
run(const QStringList &command,
    const QStringList &environment = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin"},
    const QByteArray &input = {});

} // namespace host
