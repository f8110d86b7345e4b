// SPDX-License-Identifier: MIT
//
// Determines the kind of this host from /etc/os-release and /etc/norva-build. Changes neither file.
#pragma once

namespace halvex {

/// Tells whether the host runs a server edition: whether /etc/os-release contains "server"
/// anywhere, in any letter case.
///
/// @return false also if the file cannot be opened, with the warning "Cannot open
/// /etc/os-release".
[[nodiscard]] bool detectServerEdition();

/// Reads the operating system's release id, such as 2403, from the first line of /etc/os-release
/// that contains NORVA_RELEASE_ID="…".
///
/// @param id  the id; 0 on every failure
/// @return false if the file or the line is missing, or if the value is not a decimal number or
///         does not fit into an int. Logs nothing.
[[nodiscard]] bool readReleaseId(int &id);

/// The host's generation, 0 to 6. It is 0 until classifyHostGeneration() sets another value. The
/// daemon does not use it yet (see ARCHITECTURE.md).
extern int hostGeneration;

/// Sets hostGeneration from the build date in /etc/norva-build and the release id.
///
/// If the build matches no known generation, hostGeneration is not changed. If the file or the
/// build line is missing, it is set to 0. Prints "release id is 0" to standard output if there is
/// no release id.
void classifyHostGeneration();

} // namespace halvex
