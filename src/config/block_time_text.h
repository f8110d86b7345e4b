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

/// The return value of parseTimeoutValue() for an empty value. Seconds are never negative, so no
/// number of seconds equals one of these two constants.
constexpr int emptyTimeout = -2;

/// Tells whether @p line is a timeout line. The value may have any form.
[[nodiscard]] bool isTimeoutLine(const QString &line);

/// Reads the seconds from @p line. All decimal digits after the first "=" of the line form the
/// number; other characters are ignored.
///
/// @return the seconds; unparsableTimeout if there is no "=" or no digit, or if the number does not
///         fit into 32 bits; emptyTimeout if only white space follows the "="
[[nodiscard]] int parseTimeoutValue(const QString &line);

/// Returns the timeout line @p line with a caller's timeout @p value.
///
/// - "-1" empties the value.
/// - An empty value is replaced by the text "timeout VALUE", in double quotes, with the complete
///   @p value as VALUE.
/// - In a canonical line the number is replaced by @p value without its last character, which
///   normally is the unit. Text before and after the canonical form is dropped.
/// - Any other line is kept.
[[nodiscard]] QString rewriteTimeoutLine(const QString &line, const QString &value);

/// Reads the seconds from the first timeout line in @p content, as parseTimeoutValue() does.
///
/// @return the seconds or a constant, as parseTimeoutValue() does; 0 if there is no timeout line
[[nodiscard]] int timeoutIn(QByteArray content);

/// Returns the text @p content with every timeout line rewritten by rewriteTimeoutLine(). All other
/// lines are kept. In the returned text, each line ends with a line feed.
[[nodiscard]] QByteArray withTimeout(QByteArray content, const QString &value);

} // namespace halvex
