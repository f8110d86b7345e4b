// SPDX-License-Identifier: MIT
//
// The text of the intervention file: sections of named actions, with fields in them. Each line ends
// with a line feed:
//
//     action "block" {
//     timeout = "30"
//
// Names are searched for as substrings, because existing files rely on it. So a name also matches
// as a part of a longer name, and a header also matches in a comment. No file is touched here.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace halvex {

/// Reads a field's value from the section of an action in @p content.
///
/// @return the rest of the field's line, in UTF-8, after its first "=" and one more character,
///         without trailing white space and without any double quote; empty if action or field is
///         missing
[[nodiscard]] QByteArray fieldValueIn(const QByteArray &content, const QString &actionName,
                                      const QString &fieldName);

/// A range of bytes from @c start up to, but not including, @c end.
struct ByteSpan
{
    int start;
    int end;
};

/// Finds where the search for a field of the action begins in @p content: after the action's first
/// header.
///
/// The name's length is counted in UTF-16 units. So for a name that is not ASCII the search begins
/// inside the header.
///
/// @return nothing if the action has no header
[[nodiscard]] std::optional<int> fieldSearchStart(const QByteArray &content,
                                                  const QString &actionName);

/// Finds, at or after @p from, the bytes of @p content that a new value of the field replaces.
///
/// If the comment "# FIELD" occurs anywhere at or after @p from, the search begins after its first
/// occurrence. The value starts after the field's name, a blank, "=" and one more character, which
/// may be a line feed. The value ends before the next line feed.
///
/// @return nothing if the field is missing, or if no line feed follows the start of its value
[[nodiscard]] std::optional<ByteSpan> findFieldValue(const QByteArray &content,
                                                     const QString &fieldName, int from);

/// Returns the value in the form of the file: each word of @p value in double quotes.
///
/// Each blank separates two words, so two blanks in a row have an empty word between them. One
/// blank at the end adds no word.
[[nodiscard]] QByteArray quoteValueWords(const QByteArray &value);

} // namespace halvex
