// SPDX-License-Identifier: MIT
#include "fuzz/fuzz_target.h"
#include "stats/event_counter.h"
#include "util/utf8_text.h"

#include <QFile>
#include <QString>
#include <QTemporaryDir>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray content(reinterpret_cast<const char *>(data), static_cast<int>(size));
    std::optional<QByteArray> first;
    for (const QByteArray &line : content.split('\n')) {
        const auto total = halvex::eventTotalInLine(line);
        fuzz::requireThat(!total || (line.contains("='" + *total + "'") && !total->contains('\'')),
                          "a total is what the quotes enclose");
        first = first ? first : total;
    }
    static const QTemporaryDir directory;
    const QString path = directory.filePath("research.state");
    QFile file(path);
    fuzz::requireThat(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
                      "the state can be written");
    file.close();
    const QByteArray expected = first.value_or("");
    QString count = "untouched";
    fuzz::requireThat(halvex::getEventTotalCount(path, count) == 0 &&
                          count == halvex::utf8Text(expected),
                      "the first line with a total is read");
    return 0;
}
