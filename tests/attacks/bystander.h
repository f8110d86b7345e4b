// SPDX-License-Identifier: MIT
//
// Callers that do no harm while somebody else attacks.
#pragma once

#include "support/suite_host.h"

/// What a bystander asks for, and what it gets.
namespace bystander {
constexpr const char *method = "getEventTotalCount";
inline const Reply served{0, {"1234"}};
/// An ordinary user's front end, at a place that no attacker takes.
inline const Caller caller{user::ordinary, "/opt/appdata/halvex/bin/halvex-desktop"};

/// Makes the file of which it is told.
void prepare();

/// Tells whether one is served within @p timeoutMs of a fast machine; it asks again when it gets an
/// error, as from a daemon that goes and is started anew. @p command is how it calls.
[[nodiscard]] testing::AssertionResult isServedWithin(int timeoutMs, const QStringList &command);
} // namespace bystander
