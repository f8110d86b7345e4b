// SPDX-License-Identifier: MIT
//
// Runs the daemon's fixed shell commands, each identified by a number, with a clean environment and
// time limits. Only the texts in `commandTable` are passed to the shell, and no caller's text is
// ever stored in that table. A call waits for at most 30 s for the start of the shell, and then for
// at most 30 s for its exit. If the command ends in "&", the call then waits for the background job
// for at most half a second.
#pragma once

#include <QString>

#include <map>

namespace halvex {

/// The shell commands by number, 0 to 8. The table is empty at first and is never cleared. Each
/// command is stored immediately before it is run. Only the main thread may use the table.
extern std::map<int, QString> commandTable;

/// Runs the command stored under @p commandNumber: under /bin/sh, in /tmp, with /dev/null as
/// standard input, in the daemon's environment without the variables that change how a shell or the
/// loader works.
///
/// A command that ends in "&" starts a background job, which is not killed. The call returns as
/// soon as the job has exited or has closed both outputs, at most half a second after the start.
/// Later output of the job is lost. The shell and its jobs ignore SIGPIPE, so that a job that
/// writes such output is not killed. If the shell exceeds the time limit, it is killed with its
/// process group.
///
/// @param output     the first maxCapturedBytes of standard output, decoded from UTF-8; null if it
///                   is empty; unchanged unless the command has exited
/// @param errorText  the first maxCapturedErrorBytes of standard error, decoded in the same way;
///                   the daemon's own text if the shell did not start or did not exit in time;
///                   unchanged if there is no such command
/// @return true if the exit status is 0, else false. An exit status other than 0 causes a Qt debug
///         message. There is no message if the command does not exist, or if the shell did not
///         start or did not exit in time.
[[nodiscard]] bool runCommand(int commandNumber, QString &output, QString &errorText);

} // namespace halvex
