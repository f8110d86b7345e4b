// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

/// How long a slow and loaded machine may need for what takes a moment, in milliseconds.
inline constexpr int patienceMs = 300000;

/// Waits until @p condition holds, for patienceMs at most; false when it never does.
[[nodiscard]] bool waitFor(const std::function<bool()> &condition);
