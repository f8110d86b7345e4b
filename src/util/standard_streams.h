// SPDX-License-Identifier: MIT
#pragma once

namespace halvex {

/// Makes writes to standard output and standard error fail instead of waiting, where these are
/// sockets, as under systemd: what journald does not take in time is lost. Streams of any other
/// kind are left alone, because other processes may share them.
void keepOutputFromBlocking() noexcept;

} // namespace halvex
