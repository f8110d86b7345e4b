// SPDX-License-Identifier: MIT
//
// The environment of the daemon, which the programs that it runs inherit.
#pragma once

namespace halvex {

/// Makes the inherited environment safe for a root process that runs commands by bare name.
///
/// Afterwards, PATH and LC_ALL occur once each, so that getenv(), Qt and the programs that the
/// daemon runs see the same values. PATH is the inherited one if checkPathEnvironment() accepts it,
/// otherwise /usr/bin:/bin:/usr/sbin:/sbin. If PATH occurs several times, the last entry is checked
/// and kept, and the others are removed. So the value that was checked is the value in use. LC_ALL
/// is en_US.UTF-8.
///
/// Must be called at the start of the process, while it has one thread. Writes the warnings of
/// checkPathEnvironment().
void makeEnvironmentSafe();

} // namespace halvex
