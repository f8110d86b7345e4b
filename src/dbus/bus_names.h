// SPDX-License-Identifier: MIT
#pragma once

namespace halvex {

/// The well-known name that the daemon claims on the system bus.
constexpr const char *busName = "com.norva.halvex.desktop";

/// The name that the same connection claims first of all. The bus policy denies unicast signals and
/// file descriptors to the owner of this name. So the daemon is protected even before it owns
/// busName.
constexpr const char *startBusName = "com.norva.halvex.desktop.start";

/// The path of the only object that the daemon exports on the system bus.
constexpr const char *objectPath = "/com/norva/halvex/desktop";

} // namespace halvex
