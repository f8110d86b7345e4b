// SPDX-License-Identifier: MIT
#include "fuzz/fuzz_target.h"
#include "security/path_environment.h"

#include <QtGlobal>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray path = fuzz::partsOf(data, size, 2)[0];
    qputenv("PATH", path);
    const bool mustBeReplaced = halvex::checkPathEnvironment();
    const bool hasDot = path.split(':').contains(".");
    fuzz::requireThat(mustBeReplaced || !(path.isEmpty() || hasDot),
                      "an empty path or a dot is refused");
    return 0;
}
