// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

/// Waits until @p condition holds, as long as a loaded machine may need; false when it never does.
[[nodiscard]] bool waitFor(const std::function<bool()> &condition);
