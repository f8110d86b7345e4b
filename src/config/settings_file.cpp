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
    const QByteArray content = file.readAll();
    // What was read before an error must not be taken for the whole, and written back.
    if (file.error() != QFileDevice::NoError) {
        return std::nullopt;
    }
    return content;
}

} // namespace halvex
