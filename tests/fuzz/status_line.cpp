// SPDX-License-Identifier: MIT
#include "fuzz/fuzz_target.h"
#include "util/switch_reader.h"

#include <string>

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray line(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const auto answer = halvex::switchInLine(line.toStdString(), "three admin");
    fuzz::requireThat(!answer || (line.toLower().contains("three admin") && line.contains(':')),
                      "the line of an answer has key and colon");
    return 0;
}
