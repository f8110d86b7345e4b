// SPDX-License-Identifier: MIT
//
// The settings of the AI detection engine, in a YAML file. A setting is named by its key: the names
// of map entries from the root downwards, joined by full stops; two in a row have an empty name
// between them. The file is rewritten in place and never created. Nothing is cached or logged.
//
// The YAML library works in memory, some hundred bytes for each node of the document. So a file is
// refused that is larger than 256 MiB or holds more than 2,000,000 bytes which can begin a node, in
// whatever place: , [ { : - & * ! ?
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
/// @param value  the scalar's text; empty on failure, untouched when @p key is empty
/// @return 0 when read; -1 when the key is empty, the file is missing, unreadable, refused or
///         malformed, or the key names nothing, a map or a sequence
[[nodiscard]] int readAiSetting(const QString &path, const QString &key, QString &value);

/// Writes one setting of the engine @p type, of which only 0 is known, into the file at @p path,
/// which keeps its owner and mode.
///
/// Entries that are missing are made. What is a scalar or a sequence on the way becomes a map. The
/// whole file is emitted anew, which settles the type of each of its scalars and drops comments. A
/// null as a key is the name "null" from then on.
///
/// @return 0 when the change was made, even if the file could not be opened or written; -1, with
///         the file untouched, for any other type, an empty key or value, a key of more than 498
///         components, a file that is missing, unreadable, refused or malformed, that holds several
///         documents or whose root is a scalar or a sequence, and when the tree cannot be emitted:
///         a map or a sequence is a key, or it is deeper than the library reads or, by aliases of
///         aliases, longer than the file explains
[[nodiscard]] int setAiConfig(const QString &path, int type, const QString &key,
                              const QString &value);

} // namespace halvex
