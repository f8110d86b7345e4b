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
/// @return the UTF-8 bytes behind the line's first "=" and one more character, without trailing
///         white space and without any double quote; empty when action or field is not there
[[nodiscard]] QByteArray fieldValueIn(const QByteArray &content, const QString &actionName,
                                      const QString &fieldName);

/// A stretch of bytes: from @c start up to, not including, @c end.
struct ByteSpan
{
    int start;
    int end;
};

/// Finds where the search for a field of the action begins in @p content: behind the action's first
/// header.
///
/// The name counts with its UTF-16 length, so that the place lies inside a header whose name is not
/// ASCII.
///
/// @return nothing when the action has no header
[[nodiscard]] std::optional<int> fieldSearchStart(const QByteArray &content,
                                                  const QString &actionName);

/// Finds the bytes of @p content that a new value of the field replaces, at or behind @p from.
///
/// A commented-out field anywhere behind @p from makes the search go on behind it. The value starts
/// three characters behind the name: behind a blank, "=" and whatever follows, be it a line feed.
/// It ends before the next line feed.
///
/// @return nothing when the field, or a line feed behind its value's start, is not there
[[nodiscard]] std::optional<ByteSpan> findFieldValue(const QByteArray &content,
                                                     const QString &fieldName, int from);

/// The value in the form of the file: each word of @p value in double quotes.
///
/// Words are split at each single blank; a blank at the end ends the last word and begins none.
[[nodiscard]] QByteArray quoteValueWords(const QByteArray &value);

} // namespace halvex
