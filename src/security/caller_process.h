// SPDX-License-Identifier: MIT
//
// What the kernel says about a process, read from /proc. The process may belong to an attacker, who
// can make several of these reads hang. An expendable worker makes them, and they are given up
// after callerReadTimeoutMs.
#pragma once

#include "util/expendable_worker.h"

#include <QByteArray>
#include <QtGlobal>

#include <array>
#include <chrono>
#include <optional>

namespace halvex {

/// How long a process may keep the daemon waiting for one of the functions below.
constexpr std::chrono::milliseconds callerReadTimeoutMs(1000);

/// The largest environment that is read, in bytes. The kernel starts no program with arguments and
/// environment of more than 6 MiB. A process can only get a larger one by a change of its own.
constexpr std::size_t maxEnvironmentBytes = (6UL << 20) + (64UL << 10);

/// The namespaces in which a caller must be with process 1.
constexpr std::array<const char *, 3> comparedNamespaces{"user", "mnt", "pid"};

/// The targets of the links in a process's directory `ns`, in the order of comparedNamespaces.
/// Empty where a link cannot be read.
using NamespaceLinks = std::array<QByteArray, comparedNamespaces.size()>;

/// How far the reading of an environment came.
enum class EnvironmentState : char {
    NotOpened, ///< there is no such process any more, or no access to it
    NotRead,   ///< an error on the way, more than maxEnvironmentBytes, or given up
    Read,
    Forbidden, ///< read, and it sets a variable that refuses a caller
};

struct CallerSurroundings
{
    EnvironmentState state = EnvironmentState::NotRead;
    QByteArray environment; ///< all of /proc/PID/environ, if it was read and asked for
    NamespaceLinks host;    ///< of process 1
    NamespaceLinks caller;
};

/// Reads and judges the initial environment of @p pid, and reads its namespaces beside those of
/// process 1.
///
/// @param wantsEnvironment  whether the environment itself is part of the answer
[[nodiscard]] CallerSurroundings readSurroundings(ExpendableWorker &worker, qint32 pid,
                                                  bool wantsEnvironment);

/// Finds the canonical path of the program that @p pid runs: that of its executable or, only if
/// root may not look at that, of its first argument.
///
/// @return nothing when the path is unknown or leads to no file; when it leads to another file than
///         the process runs, because its program was deleted or renamed since; when the read was
///         given up; and when the path is not in the locale's encoding
[[nodiscard]] std::optional<QByteArray> readProgramPath(ExpendableWorker &worker, qint32 pid);

} // namespace halvex
