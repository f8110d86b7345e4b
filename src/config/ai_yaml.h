// SPDX-License-Identifier: MIT
//
// The text of an AI engine's settings, a YAML document. A setting is named by its key: the names of
// map entries from the root downwards, joined by full stops. Two full stops in a row have an empty
// name between them. No file is touched here.
//
// The YAML library keeps the whole document in memory and needs some hundred bytes for each node.
// Each of the characters ,[{:-&*!? can begin a node. So a text counts as too large if it has more
// than 2,000,000 of these characters in total.
//
// An entry with a null key cannot be read. A write to the key "null" changes such an entry. After
// any write, also to another key, the null key has become the text "null". When the library emits
// quoted text, it replaces Unicode non-characters, such as U+FFFE, by U+FFFD.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string>

namespace halvex {

/// Reads the setting @p key, which must not be empty, from the first document in @p content.
///
/// @return the text of the scalar, or "null" for a null; nothing if @p content is too large,
///         malformed or nested deeper than maxNodeDepth, if there is no such entry, or if the entry
///         is a map or a sequence
[[nodiscard]] std::optional<QString> aiSettingIn(const QByteArray &content, const QString &key);

/// Returns the document @p content with the setting @p key set to @p value. The key and the value
/// must not be empty.
///
/// Missing entries are created. A scalar or a sequence on the path is replaced by a map. The whole
/// document is emitted again by emitNode(), which determines the type of each scalar again.
/// Comments are lost.
///
/// @return nothing
///         - for a key of more than maxKeyComponents components;
///         - for a text that is too large, malformed or nested deeper than maxNodeDepth, that holds
///           several documents, or whose root is a scalar or a sequence;
///         - for a tree that cannot be emitted: because a key is a map or a sequence, because an
///           alias contains itself, or because the text would be longer than 16 MiB plus eight
///           times the total size of content, key and value
[[nodiscard]] std::optional<std::string> withAiSetting(const QByteArray &content,
                                                       const QString &key, const QString &value);

} // namespace halvex
