// SPDX-License-Identifier: MIT
#include "config/block_time_text.h"
#include "fuzz/fuzz_target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayList parts = fuzz::partsOf(data, size, 2);
    const QString line = QString::fromUtf8(parts[0]);
    const QString value = QString::fromUtf8(parts[1]);
    fuzz::requireThat(halvex::timeoutIn(parts[0]) >= halvex::emptyTimeout,
                      "the timeout is not below emptyTimeout");
    const QByteArray changed = halvex::withTimeout(parts[0], value);
    fuzz::requireThat(changed.isEmpty() || changed.endsWith('\n'),
                      "the changed text ends with a line feed");
    fuzz::requireThat(halvex::parseTimeoutValue(line) >= halvex::emptyTimeout,
                      "the timeout is not below emptyTimeout");
    if (halvex::isTimeoutLine(line)) {
        fuzz::requireThat(halvex::isTimeoutLine(halvex::rewriteTimeoutLine(line, value)),
                          "a rewritten timeout line is still one");
    }
    return 0;
}
