// SPDX-License-Identifier: MIT
#pragma once

namespace halvex {

/// Makes writes to standard output and standard error fail instead of blocking, if the stream is a
/// socket, as under systemd. Output that journald does not read in time is then lost. A stream of
/// another kind is not changed, because other processes may share it.
void keepOutputFromBlocking() noexcept;

} // namespace halvex
