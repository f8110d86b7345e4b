// SPDX-License-Identifier: MIT
//
// Helpers that write and read files, mostly on the throwaway host. A failure to read or write is a
// test failure.
#pragma once

#include <QByteArray>
#include <QString>

namespace host {

/// Writes @p bytes to @p path with exactly the mode @p mode. Makes missing directories.
void writeFile(const QString &path, const QByteArray &bytes, unsigned mode = 0644);

/// Writes an executable shell script that runs @p body under /bin/sh.
void writeScript(const QString &path, const QByteArray &body);

/// Makes the file at @p path read-only for every user, root included.
void makeUnwritable(const QString &path);

/// Owner, group and mode of the file at @p path, as "2001:2002 0640".
[[nodiscard]] QString ownerAndMode(const QString &path);

/// The whole content of @p path.
[[nodiscard]] QByteArray readFile(const QString &path);

} // namespace host
