// SPDX-License-Identifier: MIT
//
// Harmless callers during an attack.
#pragma once

#include "support/suite_host.h"

/// The call of a bystander, and the answer that it should get.
namespace bystander {
constexpr const char *method = "getEventTotalCount";
inline const Reply served{0, {"1234"}};
/// An ordinary user's front end, at a path that no attacker uses.
inline const Caller caller{user::ordinary, "/opt/appdata/halvex/bin/halvex-desktop"};

/// Writes the file from which the daemon answers the call.
void prepare();

/// Tells whether a bystander is served within @p timeoutMs on a fast machine. The bystander calls
/// by @p command, and calls again after an error: the daemon may be restarting.
[[nodiscard]] testing::AssertionResult isServedWithin(int timeoutMs, const QStringList &command);
} // namespace bystander
