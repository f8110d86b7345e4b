// SPDX-License-Identifier: MIT
//
// Does a calling process's initial environment carry a variable that makes a loader or an
// interpreter run somebody else's code? Pure text work on the bytes of /proc/PID/environ.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace halvex {

/// An environment @p block decoded by the locale's codec, with a line feed in place of each NUL and
/// without carriage returns, as text files are read.
///
/// No byte-order mark is looked for: one would let a caller choose an encoding in which no name is
/// recognised.
[[nodiscard]] QString environmentText(const QByteArray &block);

/// The entries of an environment @p text, which a line feed ends; empty ones are kept. A value that
/// holds a line feed yields two.
[[nodiscard]] QStringList environmentEntries(const QString &text);

/// Tells whether one of the entries of @p text sets, to whatever value, a variable that refuses a
/// caller: LD_PRELOAD, LD_LIBRARY_PATH, LD_AUDIT, BASH_ENV, ENV, PYTHONPATH or PERL5OPT. Takes no
/// memory for entries, of which an environment may hold millions.
[[nodiscard]] bool holdsForbiddenName(const QString &text);

} // namespace halvex
