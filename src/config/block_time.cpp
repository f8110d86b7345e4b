// SPDX-License-Identifier: MIT
#include "config/block_time.h"

#include "config/block_time_text.h"
#include "config/settings_file.h"
#include "util/status.h"

#include <QByteArray>

#include <optional>
#include <utility>

namespace halvex {

int readBlockTimeout(const QString &path, int &timeout)
{
    std::optional<QByteArray> content = readSettingsFile(path);
    const int found = content ? timeoutIn(std::move(*content)) : unparsableTimeout;
    if (found == unparsableTimeout) {
        return failed;
    }
    timeout = found;
    return succeeded;
}

int writeBlockTimeout(const QString &path, const QString &value)
{
    std::optional<QByteArray> content = readSettingsFile(path);
    if (!content) {
        return failed;
    }
    const QByteArray changed = withTimeout(std::move(*content), value);
    const WriteResult result =
        writeSettingsFile(path, {changed.constData(), size_t(changed.size())});
    // A write that fails after the file was opened is not reported.
    return result == WriteResult::NotOpened ? failed : succeeded;
}

} // namespace halvex
