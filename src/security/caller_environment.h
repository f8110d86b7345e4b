// SPDX-License-Identifier: MIT
//
// Checks whether a calling process's initial environment sets a variable that makes a loader or an
// interpreter run foreign code. Works only on the bytes of /proc/PID/environ.
#pragma once

#include <QByteArray>
#include <QStringList>

#include <array>
#include <string_view>

namespace halvex {

/// Returns the entries of an environment @p block, decoded by the locale's codec. Empty entries are
/// kept.
///
/// NUL and line feed both end an entry, so a value with a line feed yields two entries. Carriage
/// returns are dropped. A byte-order mark has no special meaning.
[[nodiscard]] QStringList environmentEntries(const QByteArray &block);

/// The variables that no caller may have, whatever their value.
constexpr std::array<std::string_view, 7> forbiddenEnvironmentNames{
    "LD_PRELOAD", "LD_LIBRARY_PATH", "LD_AUDIT", "BASH_ENV", "ENV", "PYTHONPATH", "PERL5OPT"};

/// Tells whether @p block has an entry for one of forbiddenEnvironmentNames.
///
/// The check uses the raw bytes, not the decoded text. Names and separators are ASCII, which is the
/// same in every locale. So a value with a byte-order mark or a broken character cannot hide the
/// entries after it. Does not use Qt.
[[nodiscard]] bool holdsForbiddenName(std::string_view block);

} // namespace halvex
