// SPDX-License-Identifier: MIT
//
// The text of the intervention file: sections of named actions with fields in them,
//
//     action "block" {
//     timeout = "30"
//
// in lines that end with a line feed. Names are searched for as substrings, because existing files
// rely on it: a name also matches as part of a longer name, and a header in a comment matches too.
// No file is touched here.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace halvex {

/// Reads a field's value from the section of an action in @p content.
///
/// @return the UTF-8 bytes after the line's first "=" and one more character, without trailing
///         white space and without any double quote; empty if action or field is missing
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

/// Finds the bytes of @p content that a new value of the field replaces, at or after @p from.
///
/// If a comment "# FIELD" follows anywhere at or after @p from, the search goes on after it. The
/// value starts three characters after the name, past a blank, "=" and one more character, which
/// may be a line feed. It ends before the next line feed.
///
/// @return nothing if the field, or a line feed after the start of its value, is missing
[[nodiscard]] std::optional<ByteSpan> findFieldValue(const QByteArray &content,
                                                     const QString &fieldName, int from);

/// Returns the value in the form of the file: each word of @p value in double quotes.
///
/// Each single blank separates two words. A blank at the end adds no word.
[[nodiscard]] QByteArray quoteValueWords(const QByteArray &value);

} // namespace halvex
