// SPDX-License-Identifier: MIT
//
// The text of the intervention file: sections of named actions with fields in them,
//
//     action "block" {
//     timeout = "30"
//
// in lines that end with a line feed. Everything is found by substring, the way the file has always
// been searched: a name also matches as a part of a longer one, and a header in a comment counts.
// No file is touched here.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace halvex {

/// Reads a field's value from the section of an action in @p content.
///
/// @return the UTF-8 bytes after the line's first "=" and one more character, without trailing
///         white space and without any double quote; empty when action or field is not there
[[nodiscard]] QByteArray fieldValueIn(const QByteArray &content, const QString &actionName,
                                      const QString &fieldName);

/// A stretch of bytes: from @c start up to, not including, @c end.
struct ByteSpan
{
    int start;
    int end;
};

/// Finds where the search for a field of the action begins in @p content: after the action's first
/// header.
///
/// The name's length is counted in UTF-16 units; so for a name that is not ASCII the place lies
/// inside the header.
///
/// @return nothing when the action has no header
[[nodiscard]] std::optional<int> fieldSearchStart(const QByteArray &content,
                                                  const QString &actionName);

/// Finds the bytes of @p content that a new value of the field replaces, at or after @p from.
///
/// If a comment "# FIELD" follows anywhere at or after @p from, the search goes on after it. The
/// value starts three characters after the name, past a blank, "=" and one more character, which
/// may be a line feed, and ends before the next line feed.
///
/// @return nothing when the field, or a line feed after its value's start, is not there
[[nodiscard]] std::optional<ByteSpan> findFieldValue(const QByteArray &content,
                                                     const QString &fieldName, int from);

/// The value in the form of the file: each word of @p value in double quotes.
///
/// Words are split at each single blank; a blank at the end ends the last word and begins none.
[[nodiscard]] QByteArray quoteValueWords(const QByteArray &value);

} // namespace halvex
