// SPDX-License-Identifier: MIT
//
// The text of the AI engine's settings, a YAML document. A setting is named by its key: the names
// of map entries from the root downwards, joined by full stops; two in a row have an empty name
// between them. No file is touched here.
//
// The YAML library works in memory, some hundred bytes for each node of the document. A text counts
// as too large when it has more than 2,000,000 bytes that can begin a node, wherever they stand:
// any of ,[{:-&*!?
//
// A key of the file that is null has no name to be read by. Written to, it is the entry "null", and
// every write emits it as that text. What Unicode calls non-characters, such as U+FFFE, the library
// emits as U+FFFD where it quotes a text.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string>

namespace halvex {

/// Reads the setting @p key, which is not empty, from the first document in @p content.
///
/// @return the scalar's text, "null" for a null; nothing when the text is too large, malformed or
///         nested deeper than 499 nodes, or the key names nothing, a map or a sequence
[[nodiscard]] std::optional<QString> aiSettingIn(const QByteArray &content, const QString &key);

/// The document @p content with the setting @p key set to @p value. Neither may be empty.
///
/// Missing entries are created. What is a scalar or a sequence on the way becomes a map. The whole
/// document is emitted anew, which settles the type of each of its scalars and drops comments.
///
/// @return nothing
///         - for a key of more than 498 components;
///         - for a text that is too large, malformed or nested deeper than 499 nodes, that holds
///           several documents, or whose root is a scalar or a sequence;
///         - for a tree that cannot be emitted: with a map or a sequence as a key, with an alias
///           that contains itself, or whose text would become longer than 16 MiB and eight times
///           the content, key and value
[[nodiscard]] std::optional<std::string> withAiSetting(const QByteArray &content,
                                                       const QString &key, const QString &value);

} // namespace halvex
