// SPDX-License-Identifier: MIT
//
// The errors with which a system call may fail.
#pragma once

#include "faults/tracing.h"

#include <QStringList>

#include <optional>

/// The documented errors that @p call can have here: names as in errno(3), or outcomes as strace
/// writes them, such as "retval=0". Empty for a call that cannot fail, or whose failure is left out
/// for the reason in the source. nullopt for a call that is not listed yet.
[[nodiscard]] std::optional<QStringList> errorsOf(const SeenCall &call);
