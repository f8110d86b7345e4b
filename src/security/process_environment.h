// SPDX-License-Identifier: MIT
//
// The environment that the daemon works with and that the programs it runs inherit.
#pragma once

namespace halvex {

/// Makes the inherited environment safe for a root process that runs commands by bare name.
///
/// Afterwards there is one PATH and one LC_ALL, and every reader sees the same: getenv(), Qt and
/// the programs that the daemon runs. PATH is the inherited one if checkPathEnvironment() accepts
/// it, otherwise /usr/bin:/bin:/usr/sbin:/sbin. Of several PATH entries the last is kept and
/// judged; the others are dropped, so a safe one among them cannot vouch for another. LC_ALL is
/// en_US.UTF-8.
///
/// Only for the start of the process, while it has one thread. Writes the warnings of
/// checkPathEnvironment().
void makeEnvironmentSafe();

} // namespace halvex
