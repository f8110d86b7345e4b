// SPDX-License-Identifier: MIT
//
// With which errors a system call may fail on a host whose kernel keeps its word.
#pragma once

#include "faults/tracing.h"

#include <QStringList>

#include <optional>

/// The errors that the kernel documents for @p call and that can happen to it: names as in
/// errno(3), or an outcome in strace's words, such as "retval=0". Empty for a call that cannot fail
/// or whose failure is left out; the source says why. Nothing for a call that nobody has thought
/// about yet.
[[nodiscard]] std::optional<QStringList> errorsOf(const SeenCall &call);
