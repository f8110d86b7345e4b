// SPDX-License-Identifier: MIT
//
// The list of the packages that a front end may ask to install: only the suite's own add-ons. Reads
// no file.
#pragma once

#include <QStringList>

namespace halvex {

/// Tells whether every entry of @p packages names one of the suite's add-on packages.
///
/// White space around an entry is ignored; the comparison is case-sensitive. An entry must be a
/// bare name, without a path, a version or a suffix. Duplicates are allowed.
///
/// @return false for an empty list and for a list with an entry outside the allow-list, after one
///         Qt warning that gives the reason
[[nodiscard]] bool validatePackages(const QStringList &packages);

} // namespace halvex
