// SPDX-License-Identifier: MIT
#include "fuzz/fuzz_target.h"
#include "stats/event_counter.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray content(reinterpret_cast<const char *>(data), static_cast<int>(size));
    for (const QByteArray &line : content.split('\n')) {
        const auto total = halvex::eventTotalInLine(line);
        fuzz::requireThat(!total || (line.contains("='" + *total + "'") && !total->contains('\'')),
                          "a total stands in its quotes");
    }
    return 0;
}
