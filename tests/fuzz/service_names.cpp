// SPDX-License-Identifier: MIT
#include "services/service_names.h"

#include "fuzz/fuzz_target.h"

#include <QString>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString names =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    if (halvex::checkServiceNames(names)) {
        fuzz::requireThat(!names.contains('/') && !names.contains("--") && !names.contains('@'),
                          "allowed names have no '/', no \"--\" and no '@'");
    }
    return 0;
}
