// SPDX-License-Identifier: MIT
//
// The text of the block-time file, in the locale's codec. A timeout line begins with TIMEOUT= in
// column 0; its canonical form is TIMEOUT="timeout 600s". No file is touched here.
#pragma once

#include <QByteArray>
#include <QString>

namespace halvex {

/// What parseTimeoutValue() returns for a value that is no count.
constexpr int unparsableTimeout = -1;

/// What it returns for an empty value. Digits alone are read, so neither is ever a count.
constexpr int emptyTimeout = -2;

/// Tells whether @p line is a timeout line, in whatever form its value is.
[[nodiscard]] bool isTimeoutLine(const QString &line);

/// Reads the count from @p line: all decimal digits after its first "=", whatever stands between
/// them.
///
/// @return the count; unparsableTimeout when there is no "=", no digit or a number beyond 32 bits;
///         emptyTimeout when only white space follows the "="
[[nodiscard]] int parseTimeoutValue(const QString &line);

/// The timeout line @p line with the timeout that a caller gave as @p value.
///
/// - "-1" empties the value.
/// - An empty value is filled with @p value whole.
/// - In a canonical line the count is replaced by @p value without its last character, whatever
///   that is (the unit, as a rule), and text around the canonical form is dropped.
/// - Any other line stays as it is.
[[nodiscard]] QString rewriteTimeoutLine(const QString &line, const QString &value);

/// Reads the count from the first timeout line in @p content, as parseTimeoutValue() does.
///
/// @return 0 also when there is no timeout line
[[nodiscard]] int timeoutIn(QByteArray content);

/// The text @p content with every timeout line rewritten by rewriteTimeoutLine(), and all other
/// lines as they are, each ended by a line feed.
[[nodiscard]] QByteArray withTimeout(QByteArray content, const QString &value);

} // namespace halvex
