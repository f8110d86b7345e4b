// SPDX-License-Identifier: MIT
//
// Checks whether this host is on a network, and whether the network reaches the internet. Used
// before the network-AI engine is switched on. Keeps no state and logs nothing.
#pragma once

namespace halvex {

/// The page that probeInternet() requests: the root of a public site that answers over TLS.
inline constexpr const char *probeAddress = "https://www.debian.org/";

/// Tells whether at least one interface has a hardware address and is both up and running. The
/// loopback interface counts like any other.
[[nodiscard]] bool hasActiveNetworkInterface();

/// Tells whether `probeAddress` answers without an error within 2000 ms.
///
/// Runs a nested event loop, so other calls are served meanwhile, also further calls of this
/// function. Each call gets its own result: an answer that arrived in time counts, even if nested
/// calls delay the return beyond the limit.
[[nodiscard]] bool probeInternet();

} // namespace halvex
