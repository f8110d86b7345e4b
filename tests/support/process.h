// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

namespace host {

/// How many milliseconds the process @p pid has been computing so far.
[[nodiscard]] qint64 computingTime(qint64 pid);

/// Waits until the process @p pid has been computing for @p milliseconds more.
void letCompute(qint64 pid, qint64 milliseconds);

} // namespace host
