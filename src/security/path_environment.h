// SPDX-License-Identifier: MIT
//
// Checks whether the inherited PATH is safe for a root process that runs commands by bare name.
// Reads the environment and the file system; changes nothing. Keeps no state.
#pragma once

#include <QString>

namespace halvex {

/// Checks the process's PATH and stops at the first problem.
///
/// These are refused: an empty PATH, the item ".", an item that cannot be resolved or is no
/// directory, an item in or below /tmp, /dev/shm or /var/tmp, a world-writable directory (sticky or
/// not), and a PATH without any of /usr/bin, /bin, /usr/sbin and /sbin.
///
/// @return true if PATH must be replaced, after one Qt warning with the reason. For an item that
///         cannot be resolved, the warning of canonicalPath() comes first.
[[nodiscard]] bool checkPathEnvironment();

/// Resolves links, "." and ".." of @p item, which may be relative to the working directory.
///
/// @return the absolute path. Empty for an empty item, without a message. Empty also for an item
///         that cannot be resolved, with one Qt warning that gives the system's reason.
[[nodiscard]] QString canonicalPath(const QString &item);

} // namespace halvex
