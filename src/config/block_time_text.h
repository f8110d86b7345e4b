// SPDX-License-Identifier: MIT
//
// The text of the block-time file, in the locale's codec. A timeout line begins with TIMEOUT= in
// column 0; its canonical form is TIMEOUT="timeout 600s". No file is touched here.
#pragma once

#include <QByteArray>
#include <QString>

namespace halvex {

/// The return value of parseTimeoutValue() for a value that is not a number of seconds.
constexpr int unparsableTimeout = -1;

/// Its return value for an empty value. A parsed number is never negative, so both are unique.
constexpr int emptyTimeout = -2;

/// Tells whether @p line is a timeout line, whatever the form of its value.
[[nodiscard]] bool isTimeoutLine(const QString &line);

/// Reads the seconds from @p line: all decimal digits after its first "=", whatever is between
/// them.
///
/// @return the seconds; unparsableTimeout if there is no "=", no digit or a number beyond 32 bits;
///         emptyTimeout if only white space follows the "="
[[nodiscard]] int parseTimeoutValue(const QString &line);

/// Returns the timeout line @p line with a caller's timeout @p value.
///
/// - "-1" empties the value.
/// - An empty value is replaced by the complete @p value.
/// - In a canonical line the number is replaced by @p value without its last character, which
///   normally is the unit. Text before and after the canonical form is dropped.
/// - Any other line is kept.
[[nodiscard]] QString rewriteTimeoutLine(const QString &line, const QString &value);

/// Reads the seconds from the first timeout line in @p content, as parseTimeoutValue() does.
///
/// @return 0 also if there is no timeout line
[[nodiscard]] int timeoutIn(QByteArray content);

/// Returns the text @p content with every timeout line rewritten by rewriteTimeoutLine(). All other
/// lines are kept. Each line is ended by a line feed.
[[nodiscard]] QByteArray withTimeout(QByteArray content, const QString &value);

} // namespace halvex
