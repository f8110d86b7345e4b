// SPDX-License-Identifier: MIT
//
// What kind of host this is, from /etc/os-release and /etc/norva-build. Both are only read.
#pragma once

namespace halvex {

/// Tells whether the host runs a server edition: whether /etc/os-release contains "server"
/// anywhere, in any letter case.
///
/// @return false also when the file cannot be opened, with the warning "Cannot open
/// /etc/os-release".
[[nodiscard]] bool detectServerEdition();

/// Reads the maker's release id, such as 2403, from the first line of /etc/os-release that holds
/// NORVA_RELEASE_ID="…".
///
/// @param id  the id; 0 on every failure
/// @return false when the file, the line or a number of decimal digits alone is missing, or the
///         number is out of an int's range. Logs nothing.
[[nodiscard]] bool readReleaseId(int &id);

/// The host's generation, 0 to 6; 0 until classifyHostGeneration() has found another. Nothing in
/// the daemon reads it yet.
extern int hostGeneration;

/// Sets hostGeneration from the build date in /etc/norva-build and the release id.
///
/// A build that fits no known generation leaves the level as it was; a missing file or build line
/// sets it to 0. Prints "release id is 0" to standard output when there is no release id.
void classifyHostGeneration();

} // namespace halvex
