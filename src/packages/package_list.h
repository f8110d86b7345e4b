// SPDX-License-Identifier: MIT
//
// Which packages a front end may have installed: the suite's own add-ons, and nothing else. Reads
// no file and keeps nothing but the list.
#pragma once

#include <QStringList>

namespace halvex {

/// Tells whether every entry of @p packages names one of the suite's add-on packages.
///
/// White space around an entry does not count; case does. An entry is a bare name: no path, no
/// version, no suffix. Repeats are welcome.
///
/// @return false for an empty list and for one with an entry outside the allow-list, after one Qt
///         warning that says which
[[nodiscard]] bool validatePackages(const QStringList &packages);

} // namespace halvex
