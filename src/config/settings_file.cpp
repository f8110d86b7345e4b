// SPDX-License-Identifier: MIT
#include "config/settings_file.h"

#include "util/delayed_termination.h"
#include "util/regular_file.h"

#include <QFile>

namespace halvex {

std::optional<QByteArray> readSettingsFile(const QString &path)
{
    QFile file;
    if (!openRegularFile(file, path, QIODevice::ReadOnly) || file.size() > maxSettingsFileSize) {
        return std::nullopt;
    }
    const QByteArray content = file.readAll();
    // After a read error the content is incomplete; writing it back would truncate the file.
    if (file.error() != QFileDevice::NoError) {
        return std::nullopt;
    }
    return content;
}

WriteResult writeSettingsFile(const QString &path, std::string_view content)
{
    const DelayedTermination untilWritten;
    QFile file;
    if (!openRegularFile(file, path, QIODevice::WriteOnly)) {
        return WriteResult::NotOpened;
    }
    const auto size = static_cast<qint64>(content.size());
    return file.write(content.data(), size) == size && file.flush() ? WriteResult::Written
                                                                    : WriteResult::CutOff;
}

} // namespace halvex
