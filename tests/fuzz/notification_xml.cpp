// SPDX-License-Identifier: MIT
#include "config/notify_xml.h"
#include "fuzz/fuzz_target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayList parts = fuzz::partsOf(data, size, 4);
    const QByteArray &xml = parts[3];
    const bool hasContainer = halvex::notifyValuesIn(xml).has_value();
    const auto changed = halvex::withNotifyValues(xml, {parts[0], parts[1], parts[2]});
    fuzz::requireThat(hasContainer || !changed, "nothing is changed where nothing can be read");
    return 0;
}
