// SPDX-License-Identifier: MIT
#include "fuzz/fuzz_target.h"
#include "security/caller_environment.h"

#include <algorithm>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray block(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const bool isRefused =
        halvex::holdsForbiddenName(std::string_view(reinterpret_cast<const char *>(data), size));
    const QStringList entries = halvex::environmentEntries(block);
    bool isForbidden = false;
    for (const QByteArray &piece : QByteArray(block).replace('\0', '\n').split('\n')) {
        isForbidden = isForbidden || piece.startsWith("LD_PRELOAD=") || piece.startsWith("ENV=");
    }
    fuzz::requireThat(!isForbidden || isRefused,
                      "a forbidden name is found, whatever surrounds it");
    const bool isInText = std::any_of(entries.begin(), entries.end(), [](const QString &entry) {
        const QStringList names{"LD_PRELOAD", "LD_LIBRARY_PATH", "LD_AUDIT", "BASH_ENV",
                                "ENV",        "PYTHONPATH",      "PERL5OPT"};
        return entry.contains('=') && names.contains(entry.section('=', 0, 0));
    });
    fuzz::requireThat(isRefused == isInText, "the verdicts on bytes and on text agree");
    for (const QString &entry : entries) {
        fuzz::requireThat(!entry.contains('\n') && !entry.contains(QChar(0)),
                          "an entry has no separator in it");
    }
    return 0;
}
