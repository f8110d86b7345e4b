// SPDX-License-Identifier: MIT
#pragma once

#include "support/printing.h"

#include <QMap>
#include <QString>
#include <QStringList>

/// Notices which files are opened for as long as it lives.
class OpenWatch
{
public:
    /// Watches the files at @p paths, which must exist.
    explicit OpenWatch(const QStringList &paths);
    ~OpenWatch();
    OpenWatch(const OpenWatch &) = delete;
    OpenWatch &operator=(const OpenWatch &) = delete;

    /// Those that were opened since the last call, each once, in the order of their names.
    [[nodiscard]] QStringList opened();

private:
    int notifications;
    QMap<int, QString> pathOf;
};
