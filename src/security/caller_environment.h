// SPDX-License-Identifier: MIT
//
// Does a calling process's initial environment carry a variable that makes a loader or an
// interpreter run somebody else's code? Pure work on the bytes of /proc/PID/environ.
#pragma once

#include <QByteArray>
#include <QStringList>

#include <string_view>

namespace halvex {

/// The entries of an environment @p block, decoded by the locale's codec, empty ones kept.
///
/// NUL and line feed both end an entry, so a value that holds a line feed yields two. Carriage
/// returns are dropped, as when text files are read. No byte-order mark is looked for.
[[nodiscard]] QStringList environmentEntries(const QByteArray &block);

/// Tells whether one of the entries of @p block sets, to whatever value, a variable that refuses a
/// caller: LD_PRELOAD, LD_LIBRARY_PATH, LD_AUDIT, BASH_ENV, ENV, PYTHONPATH or PERL5OPT.
///
/// The bytes are judged, not the decoded text: the names and the ends of entries are ASCII, which
/// stands for itself in every locale. So nothing in a value can hide what follows it, neither a
/// byte-order mark nor a broken character. Uses nothing of Qt.
[[nodiscard]] bool holdsForbiddenName(std::string_view block);

} // namespace halvex
