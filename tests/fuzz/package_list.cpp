// SPDX-License-Identifier: MIT
#include "packages/package_list.h"

#include "fuzz/fuzz_target.h"

#include <QString>
#include <QStringList>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QStringList packages =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size)).split('\n');
    if (halvex::validatePackages(packages)) {
        for (const QString &package : packages) {
            fuzz::requireThat(!package.contains('/') && !package.contains('_') &&
                                  package.trimmed().size() < 20,
                              "an allowed package has fewer than 20 characters, no '/' and no '_'");
        }
    }
    return 0;
}
