// SPDX-License-Identifier: MIT
//
// The environment of the daemon, which the programs that it runs inherit.
#pragma once

namespace halvex {

/// Makes the inherited environment safe for a root process that runs commands by bare name.
///
/// Afterwards there is one PATH and one LC_ALL, and every reader sees the same: getenv(), Qt and
/// the programs that the daemon runs. PATH is the inherited one if checkPathEnvironment() accepts
/// it, otherwise /usr/bin:/bin:/usr/sbin:/sbin. If PATH occurs several times, the last is kept and
/// checked, and the others are removed: the checked value is the one in use. LC_ALL is en_US.UTF-8.
///
/// Only for the start of the process, while it has one thread. Writes the warnings of
/// checkPathEnvironment().
void makeEnvironmentSafe();

} // namespace halvex
