// SPDX-License-Identifier: MIT
#include "config/notify_xml.h"
#include "fuzz/fuzz_target.h"

namespace {

void tryWith(const QByteArray &xml, const halvex::NotifyValues &values)
{
    const bool hasContainer = halvex::notifyValuesIn(xml).has_value();
    const auto changed = halvex::withNotifyValues(xml, values);
    fuzz::requireThat(hasContainer || !changed, "values that cannot be read stay unchanged");
    fuzz::requireThat(!changed || halvex::notifyValuesIn(*changed), "written values can be read");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayList parts = fuzz::partsOf(data, size, 4);
    const halvex::NotifyValues values{parts[0], parts[1], parts[2]};
    tryWith(parts[3], values);
    // The XML parser is not instrumented, so the fuzzer would hardly ever produce the elements that
    // surround the settings: supply them.
    tryWith("<ossec_config><alerts><notify>" + parts[3] + "</notify></alerts></ossec_config>",
            values);
    return 0;
}
