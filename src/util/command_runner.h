// SPDX-License-Identifier: MIT
//
// Runs the daemon's fixed shell commands, each known by a number, with a clean environment and time
// limits. The only texts that reach the shell here are those of `commandTable`; nothing that a
// caller sent ever gets into it. A call blocks for at most 30 s until the shell runs and 30 s more
// until it exits; if it exits at once and leaves a job in the background, at most half a second.
#pragma once

#include <QString>

#include <map>

namespace halvex {

/// The shell commands by number, 0 to 8. Empty at first and never cleared; each command is stored
/// immediately before it is run. For the main thread only.
extern std::map<int, QString> commandTable;

/// Runs the command stored under @p commandNumber: under /bin/sh, in /tmp, reading from /dev/null,
/// in the daemon's environment without the variables that change how a shell or the loader works.
///
/// A command that ends in "&" starts a background job, which lives on. The call returns as soon as
/// the job has exited or has closed both outputs, at most half a second after the start. What the
/// job prints later is lost. All programs run here ignore SIGPIPE, so that no job dies of that. A
/// shell that outlives the limit is killed together with all that it started.
///
/// @param output     the first maxCapturedBytes of standard output, from UTF-8; null when there is
///                   none; untouched unless the command has ended
/// @param errorText  likewise the first maxCapturedErrorBytes of standard error; a failure text of
///                   our own when the shell did not start or did not end in time; untouched when
///                   there is no such command
/// @return true when the exit code is 0; false otherwise: with one Qt debug message when the exit
///         code is another, without one when there is no such command or the shell did not start
///         or end in time
[[nodiscard]] bool runCommand(int commandNumber, QString &output, QString &errorText);

} // namespace halvex
