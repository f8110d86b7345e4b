// SPDX-License-Identifier: MIT
//
// Is this host on a network, and does the network reach the internet? Asked before the network-AI
// engine is switched on. Keeps no state and logs nothing.
#pragma once

namespace halvex {

/// The page that probeInternet() asks for: the root of a public site that answers over TLS.
inline constexpr const char *probeAddress = "https://www.debian.org/";

/// Tells whether at least one interface has a hardware address and is both up and running. The
/// loopback interface counts like any other.
[[nodiscard]] bool hasActiveNetworkInterface();

/// Tells whether `probeAddress` answers without an error within 2000 ms.
///
/// Meanwhile an event loop of its own runs, and with it other calls of the daemon, this one
/// included. Each call gets its own answer; one that other calls keep waiting longer than its limit
/// still gets the answer that came within it.
[[nodiscard]] bool probeInternet();

} // namespace halvex
