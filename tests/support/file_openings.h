// SPDX-License-Identifier: MIT
#pragma once

#include <QMap>
#include <QStringList>

/// Records which of the given files are opened during its lifetime, by any process, this one
/// included.
class FileOpenings
{
public:
    /// @param paths  existing files
    explicit FileOpenings(const QStringList &paths);
    ~FileOpenings();
    FileOpenings(const FileOpenings &) = delete;
    FileOpenings &operator=(const FileOpenings &) = delete;

    /// The files opened since the last call, each once, sorted by path.
    [[nodiscard]] QStringList take();

private:
    int queue;
    QMap<int, QString> pathOfWatch;
};
