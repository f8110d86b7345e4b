// SPDX-License-Identifier: MIT
//
// Reads from /proc what the kernel knows about a process. The process may belong to an attacker,
// who can make several of these reads hang. So an expendable worker makes the reads, which are
// given up after callerReadTimeoutMs.
#pragma once

#include "util/expendable_worker.h"

#include <QByteArray>
#include <QtGlobal>

#include <array>
#include <chrono>
#include <optional>

namespace halvex {

/// The time limit of each function below.
constexpr std::chrono::milliseconds callerReadTimeoutMs(1000);

/// The maximum size of an environment in bytes. The kernel starts no program with arguments and
/// environment of more than 6 MiB. Only the process itself can make its environment larger later.
constexpr std::size_t maxEnvironmentBytes = (6UL << 20) + (64UL << 10);

/// The namespaces that a caller must share with process 1.
constexpr std::array<const char *, 3> comparedNamespaces{"user", "mnt", "pid"};

/// The targets of the links in the directory /proc/PID/ns of a process, in the order of
/// comparedNamespaces. A target is empty if the link cannot be read.
using NamespaceLinks = std::array<QByteArray, comparedNamespaces.size()>;

/// The result of reading an environment.
enum class EnvironmentState : char {
    NotOpened, ///< the process does not exist any more, or may not be accessed
    NotRead,   ///< read error, more than maxEnvironmentBytes, or given up
    Read,      ///< read, and it sets no forbidden variable
    Forbidden, ///< read, but it sets a forbidden variable
};

/// What is known about a caller besides its user and its program: its environment and namespaces.
struct CallerSurroundings
{
    EnvironmentState state = EnvironmentState::NotRead;
    QByteArray environment; ///< all of /proc/PID/environ, if it was wanted and could be read
    NamespaceLinks host;    ///< of process 1
    NamespaceLinks caller;
};

/// Reads and checks the initial environment of @p pid, and reads its namespaces and those of
/// process 1.
///
/// @param wantsEnvironment  whether to return the environment itself
[[nodiscard]] CallerSurroundings readSurroundings(ExpendableWorker &worker, qint32 pid,
                                                  bool wantsEnvironment);

/// Finds the canonical path of the program that @p pid runs. Normally this is the path of its
/// executable. The path in argv[0] is used instead only if root may not access the executable, for
/// example on a user's own FUSE mount, or if the executable's path is too long for the kernel to
/// report (more than 4095 bytes). A process that has exited has neither an executable nor an
/// argv[0].
///
/// @return nothing
///         - if the path is unknown or leads to no file;
///         - if the path leads to another file than the process runs, because the program was
///           deleted or renamed;
///         - if the read was given up;
///         - if the path is not in the locale's encoding
[[nodiscard]] std::optional<QByteArray> readProgramPath(ExpendableWorker &worker, qint32 pid);

} // namespace halvex
