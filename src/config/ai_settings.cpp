// SPDX-License-Identifier: MIT
#include "config/ai_settings.h"

#include "config/ai_yaml.h"
#include "config/settings_file.h"
#include "util/status.h"

#include <optional>
#include <string>

namespace halvex {
namespace {

constexpr int knownType = 0;

} // namespace

int getAiConfig(const QString &path, int type, const QString &key, QString &value)
{
    return type == knownType ? readAiSetting(path, key, value) : failed;
}

int readAiSetting(const QString &path, const QString &key, QString &value)
{
    if (key.isEmpty()) {
        return failed;
    }
    value.clear();
    const auto content = readSettingsFile(path);
    const auto setting = content ? aiSettingIn(*content, key) : std::nullopt;
    if (!setting) {
        return failed;
    }
    value = *setting;
    return succeeded;
}

int setAiConfig(const QString &path, int type, const QString &key, const QString &value)
{
    if (type != knownType || key.isEmpty() || value.isEmpty()) {
        return failed;
    }
    const auto content = readSettingsFile(path);
    const auto changed = content ? withAiSetting(*content, key, value) : std::nullopt;
    if (!changed) {
        return failed;
    }
    // A failed write is not reported.
    static_cast<void>(writeSettingsFile(path, *changed));
    return succeeded;
}

} // namespace halvex
