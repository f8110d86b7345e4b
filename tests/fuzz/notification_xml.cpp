// SPDX-License-Identifier: MIT
#include "config/notify_xml.h"
#include "fuzz/fuzz_target.h"

namespace {

void tryWith(const QByteArray &xml, const halvex::NotifyValues &values)
{
    const bool hasContainer = halvex::notifyValuesIn(xml).has_value();
    const auto changed = halvex::withNotifyValues(xml, values);
    fuzz::requireThat(hasContainer || !changed, "nothing is changed where nothing can be read");
    fuzz::requireThat(!changed || halvex::notifyValuesIn(*changed), "what was written can be read");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayList parts = fuzz::partsOf(data, size, 4);
    const halvex::NotifyValues values{parts[0], parts[1], parts[2]};
    tryWith(parts[3], values);
    // The parser is not instrumented, so that the way to the settings would hardly be found.
    tryWith("<ossec_config><alerts><notify>" + parts[3] + "</notify></alerts></ossec_config>",
            values);
    return 0;
}
