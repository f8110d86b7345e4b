// SPDX-License-Identifier: MIT
#include "config/ai_settings.h"

#include "config/ai_yaml.h"
#include "config/settings_file.h"

#include <optional>
#include <string>

namespace halvex {
namespace {

constexpr int knownType = 0;

} // namespace

int getAiConfig(const QString &path, int type, const QString &key, QString &value)
{
    return type == knownType ? readAiSetting(path, key, value) : -1;
}

int readAiSetting(const QString &path, const QString &key, QString &value)
{
    if (key.isEmpty()) {
        return -1;
    }
    value.clear();
    const auto content = readSettingsFile(path);
    const auto setting = content ? aiSettingIn(*content, key) : std::nullopt;
    if (!setting) {
        return -1;
    }
    value = *setting;
    return 0;
}

int setAiConfig(const QString &path, int type, const QString &key, const QString &value)
{
    if (type != knownType || key.isEmpty() || value.isEmpty()) {
        return -1;
    }
    const auto content = readSettingsFile(path);
    const auto changed = content ? withAiSetting(*content, key, value) : std::nullopt;
    if (!changed) {
        return -1;
    }
    // A failure from here on has no status of its own.
    static_cast<void>(writeSettingsFile(path, *changed));
    return 0;
}

} // namespace halvex
