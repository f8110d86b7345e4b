// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

/// How long, in milliseconds, a slow and loaded machine may need for a step that is usually short.
inline constexpr int patienceMs = 300000;

/// Waits until @p condition holds, for patienceMs at most. Returns false if it does not hold by
/// then.
[[nodiscard]] bool waitFor(const std::function<bool()> &condition);
