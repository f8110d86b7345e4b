// SPDX-License-Identifier: MIT
#include "config/ai_yaml.h"

#include "fuzz/fuzz_target.h"

#include <QString>

#include <algorithm>

namespace {

/// Whether @p text contains a Unicode non-character. In quotes, it is written as U+FFFD, so the
/// written key may differ from the requested one.
bool holdsNonCharacters(const QString &text)
{
    const auto characters = text.toUcs4();
    return std::any_of(characters.begin(), characters.end(),
                       [](uint character) { return QChar::isNonCharacter(character); });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayList parts = fuzz::partsOf(data, size, 3);
    const QString key = QString::fromUtf8(parts[0]);
    const QString value = QString::fromUtf8(parts[1]);
    if (key.isEmpty() || value.isEmpty()) {
        return 0;
    }
    static_cast<void>(halvex::aiSettingIn(parts[2], key));
    if (const auto changed = halvex::withAiSetting(parts[2], key, value)) {
        fuzz::requireThat(halvex::aiSettingIn(QByteArray::fromStdString(*changed), key) ||
                              holdsNonCharacters(key),
                          "a written value can be read");
    }
    return 0;
}
