// SPDX-License-Identifier: MIT
#include "fuzz/fuzz_target.h"
#include "security/caller_environment.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray block(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QString text = halvex::environmentText(block);
    const QStringList entries = halvex::environmentEntries(text);
    bool isForbidden = false;
    for (const QByteArray &piece : QByteArray(block).replace('\0', '\n').split('\n')) {
        isForbidden = isForbidden || piece.startsWith("LD_PRELOAD=") || piece.startsWith("ENV=");
    }
    fuzz::requireThat(!isForbidden || halvex::holdsForbiddenName(text),
                      "a forbidden name is found whatever stands around it");
    for (const QString &entry : entries) {
        fuzz::requireThat(!entry.contains('\n') && !entry.contains(QChar(0)), "entries are split");
    }
    return 0;
}
