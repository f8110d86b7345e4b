// SPDX-License-Identifier: MIT
#pragma once

#include <QMap>
#include <QStringList>

/// Notes which files are opened, for as long as it lives: each opening counts, by this process too.
class FileOpenings
{
public:
    /// @param paths  files that are there
    explicit FileOpenings(const QStringList &paths);
    ~FileOpenings();
    FileOpenings(const FileOpenings &) = delete;
    FileOpenings &operator=(const FileOpenings &) = delete;

    /// The files that have been opened since the last call, each once, in the order of its path.
    [[nodiscard]] QStringList take();

private:
    int queue;
    QMap<int, QString> pathOfWatch;
};
