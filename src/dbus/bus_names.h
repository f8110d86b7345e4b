// SPDX-License-Identifier: MIT
#pragma once

namespace halvex {

/// The well-known name that the daemon claims on the system bus.
constexpr const char *busName = "com.norva.halvex.desktop";

/// The name that the same connection claims before anything else. The bus policy forbids to send
/// signals and file descriptors to its owner, also while the daemon is not ready for calls.
constexpr const char *startBusName = "com.norva.halvex.desktop.start";

/// The only object that the daemon exports there.
constexpr const char *objectPath = "/com/norva/halvex/desktop";

} // namespace halvex
