// SPDX-License-Identifier: MIT
//
// What the upgrade service's error codes mean, in words.
#pragma once

#include <QString>

namespace halvex {

/// The description of the upgrade service's error @p code, such as "#0204", for people to read.
///
/// A code that is not known, the empty one of a success among them, is an "Unknown error". The
/// texts pass through Qt's translation, context QObject.
[[nodiscard]] QString describeInstallError(const QString &code);

} // namespace halvex
