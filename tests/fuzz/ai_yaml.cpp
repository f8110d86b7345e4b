// SPDX-License-Identifier: MIT
#include "config/ai_settings.h"
#include "fuzz/fuzz_target.h"

#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <algorithm>

namespace {

/// Non-characters are written as another character, so that they are not found again.
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
    static const QTemporaryDir directory;
    const QString path = directory.filePath("config.yaml");
    const QString key = QString::fromUtf8(parts[0]);
    const QString value = QString::fromUtf8(parts[1]);
    QFile file(path);
    fuzz::requireThat(file.open(QIODevice::WriteOnly) && file.write(parts[2]) == parts[2].size(),
                      "the settings can be written");
    file.close();
    QString read = "untouched";
    const int status = halvex::getAiConfig(path, 0, key, read);
    fuzz::requireThat(status == 0 || read.isEmpty() || key.isEmpty(), "no value without success");
    if (halvex::setAiConfig(path, 0, key, value) == 0) {
        fuzz::requireThat(halvex::getAiConfig(path, 0, key, read) == 0 || holdsNonCharacters(key),
                          "what was written can be read");
    }
    return 0;
}
