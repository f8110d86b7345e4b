// SPDX-License-Identifier: MIT
#pragma once

namespace halvex {

/// The well-known name that the daemon claims on the system bus.
constexpr const char *busName = "com.norva.halvex.desktop";

/// The one object it exports there.
constexpr const char *objectPath = "/com/norva/halvex/desktop";

} // namespace halvex
