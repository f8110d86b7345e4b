// SPDX-License-Identifier: MIT
//
// Readable descriptions of the upgrade service's error codes.
#pragma once

#include <QString>

namespace halvex {

/// Returns a readable description of the upgrade service's error @p code, such as "#0204".
///
/// An unknown code gives "Unknown error", and so does the empty code of a successful installation.
/// Qt translates the texts, in the context QObject.
[[nodiscard]] QString describeInstallError(const QString &code);

} // namespace halvex
