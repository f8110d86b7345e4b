// SPDX-License-Identifier: MIT
//
// The settings of the AI detection engine, in a YAML file. A setting is named by its key: the names
// of map entries from the root downwards, joined by full stops; two in a row have an empty name
// between them. The file is rewritten in place and never created. Nothing is cached or logged.
//
// The YAML library works in memory, some hundred bytes for each node of the document. A file counts
// as too large when it has more than 256 MiB, or more than 2,000,000 bytes that can begin a node,
// wherever they stand: any of ,[{:-&*!?
//
// A key of the file that is null has no name to be read by. Written to, it is the entry "null", and
// every write emits it as that text. What Unicode calls non-characters, such as U+FFFE, the library
// emits as U+FFFD where it quotes a text.
#pragma once

#include <QString>

namespace halvex {

/// Reads one setting of the engine @p type, of which only 0 is known, from the file at @p path.
///
/// @param value  as readAiSetting() says; untouched for any other type
/// @return 0 when read; -1 for any other type and as readAiSetting() says
[[nodiscard]] int getAiConfig(const QString &path, int type, const QString &key, QString &value);

/// Reads the setting @p key from the first document of the file at @p path.
///
/// @param value  the scalar's text, "null" for a null; empty on failure; untouched when @p key is
///               empty
/// @return 0 when read; -1 when the key is empty, the file is missing, unreadable, too large,
///         malformed or nested deeper than 499 nodes, or the key names nothing, a map or a sequence
[[nodiscard]] int readAiSetting(const QString &path, const QString &key, QString &value);

/// Writes one setting of the engine @p type, of which only 0 is known, into the file at @p path,
/// which keeps its owner and mode.
///
/// Missing entries are created. What is a scalar or a sequence on the way becomes a map. The
/// whole file is emitted anew, which settles the type of each of its scalars and drops comments.
///
/// @return 0 when the change was made, even if the file could not be opened or written; -1, with
///         the file untouched,
///         - for any other type, an empty key or value, a key of more than 498 components;
///         - for a file that is missing, unreadable, too large, malformed or nested deeper than 499
///           nodes, that holds several documents, or whose root is a scalar or a sequence;
///         - for a tree that cannot be emitted: with a map or a sequence as a key, with an alias
///           that contains itself, or whose text would become longer than 16 MiB and eight times
///           the file, key and value
[[nodiscard]] int setAiConfig(const QString &path, int type, const QString &key,
                              const QString &value);

} // namespace halvex
