// SPDX-License-Identifier: MIT
#include "config/settings_file.h"

#include <QFile>

namespace halvex {

std::optional<QByteArray> readSettingsFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > largestSettingsFile) {
        return std::nullopt;
    }
    return file.readAll();
}

} // namespace halvex
