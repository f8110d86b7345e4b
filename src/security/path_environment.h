// SPDX-License-Identifier: MIT
//
// Is the PATH that the daemon inherited safe for a root process that runs commands by bare name?
// Reads the environment and the file system; changes nothing. Keeps no state.
#pragma once

#include <QString>

namespace halvex {

/// Judges the process's PATH and stops at the first problem.
///
/// Refused are: an empty PATH, the item ".", an item that cannot be resolved or is no directory, an
/// item in or below /tmp, /dev/shm or /var/tmp, a world-writable directory (sticky or not), and a
/// PATH without any of /usr/bin, /bin, /usr/sbin and /sbin.
///
/// @return true when PATH must be replaced. The reason has then been written as one Qt warning,
///         after canonicalPath()'s own for an item that cannot be resolved.
[[nodiscard]] bool checkPathEnvironment();

/// Resolves links, "." and ".." of @p item, which may be relative to the working directory.
///
/// @return the absolute path; empty for an empty item (silently) and for one that cannot be
///         resolved (with one Qt warning that gives the system's reason).
[[nodiscard]] QString canonicalPath(const QString &item);

} // namespace halvex
