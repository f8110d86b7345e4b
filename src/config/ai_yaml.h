// SPDX-License-Identifier: MIT
//
// The text of the AI engine's settings, a YAML document. A setting is named by its key: the names
// of map entries from the root downwards, joined by full stops. Two full stops in a row have an
// empty name between them. No file is touched here.
//
// The YAML library works in memory and needs some hundred bytes for each node of the document. A
// text is too large if it has more than 2,000,000 bytes that can begin a node, in any context: any
// of ,[{:-&*!?
//
// An entry of the file whose key is null cannot be read. A write to the key "null" changes it, and
// every write emits its key as the text "null". In quoted text the library replaces Unicode
// non-characters, such as U+FFFE, by U+FFFD.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string>

namespace halvex {

/// Reads the setting @p key, which is not empty, from the first document in @p content.
///
/// @return the scalar's text, "null" for a null; nothing if the text is too large, malformed or
///         nested deeper than maxNodeDepth, or if the key names no entry, a map or a sequence
[[nodiscard]] std::optional<QString> aiSettingIn(const QByteArray &content, const QString &key);

/// Returns the document @p content with the setting @p key set to @p value. Neither may be empty.
///
/// Missing entries are created. A scalar or a sequence on the path is replaced by a map. The whole
/// document is emitted again: this determines the type of each scalar again and removes comments.
///
/// @return nothing
///         - for a key of more than maxKeyComponents;
///         - for a text that is too large, malformed or nested deeper than maxNodeDepth, that holds
///           several documents, or whose root is a scalar or a sequence;
///         - for a tree that cannot be emitted: with a map or a sequence as a key, with an alias
///           that contains itself, or whose text would be longer than 16 MiB plus eight times the
///           total size of content, key and value
[[nodiscard]] std::optional<std::string> withAiSetting(const QByteArray &content,
                                                       const QString &key, const QString &value);

} // namespace halvex
