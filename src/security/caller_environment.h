// SPDX-License-Identifier: MIT
//
// Does a calling process's initial environment carry a variable that makes a loader or an
// interpreter run somebody else's code? Pure text work on the bytes of /proc/PID/environ.
#pragma once

#include <QByteArray>
#include <QStringList>

namespace halvex {

/// The entries of an environment @p block, decoded by the locale's codec, empty ones kept.
///
/// NUL and line feed both end an entry, so a value that holds a line feed yields two. No byte-order
/// mark is looked for: one would let a caller choose an encoding in which no name is recognised.
[[nodiscard]] QStringList environmentEntries(const QByteArray &block);

/// Tells whether one of @p entries sets, to whatever value, a variable that refuses a caller:
/// LD_PRELOAD, LD_LIBRARY_PATH, LD_AUDIT, BASH_ENV, ENV, PYTHONPATH or PERL5OPT.
[[nodiscard]] bool holdsForbiddenName(const QStringList &entries);

} // namespace halvex
