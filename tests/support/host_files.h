// SPDX-License-Identifier: MIT
//
// Files of the throwaway host, as tests write and compare them. A failure to read or write is a
// test failure.
#pragma once

#include <QByteArray>
#include <QString>

namespace host {

/// Writes @p bytes to @p path, whose folders are made as needed, with exactly the mode @p mode.
void writeFile(const QString &path, const QByteArray &bytes, unsigned mode = 0644);

/// Writes an executable shell script that runs @p body under /bin/sh.
void writeScript(const QString &path, const QByteArray &body);

/// The whole content of @p path.
[[nodiscard]] QByteArray readFile(const QString &path);

} // namespace host
