// SPDX-License-Identifier: MIT
#include "config/notify_settings.h"

#include "config/notify_xml.h"
#include "config/settings_file.h"
#include "util/status.h"
#include "util/utf8_text.h"

#include <QByteArray>

#include <array>
#include <cstddef>
#include <optional>
#include <utility>

namespace halvex {

int getNotifyConfig(const QString &path, QString &notifyDisabled, QString &notifyTimeout,
                    QString &notifyFold)
{
    std::optional<QByteArray> xml = readSettingsFile(path);
    const std::optional<NotifyValues> values = xml ? notifyValuesIn(std::move(*xml)) : std::nullopt;
    if (!values) {
        return failed;
    }
    const std::array<QString *, 3> outputs{&notifyDisabled, &notifyTimeout, &notifyFold};
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        if (!(*values)[i].isEmpty()) {
            *outputs[i] = utf8Text((*values)[i]);
        }
    }
    return succeeded;
}

int setNotifyConfig(const QString &path, const QString &notifyDisabled,
                    const QString &notifyTimeout, const QString &notifyFold)
{
    std::optional<QByteArray> xml = readSettingsFile(path);
    if (!xml) {
        return failed;
    }
    const std::optional<QByteArray> changed = withNotifyValues(
        std::move(*xml), {notifyDisabled.toUtf8(), notifyTimeout.toUtf8(), notifyFold.toUtf8()});
    if (!changed) {
        return failed;
    }
    const bool isSaved = writeSettingsFile(path, {changed->constData(), size_t(changed->size())}) ==
                         WriteResult::Written;
    return isSaved ? succeeded : failed;
}

} // namespace halvex
