// SPDX-License-Identifier: MIT
#pragma once

namespace halvex {

/// If standard output or standard error is a socket, as under systemd, makes writes to it fail
/// instead of blocking: output that journald does not read in time is lost. Streams of any other
/// kind are not changed, because other processes may share them.
void keepOutputFromBlocking() noexcept;

} // namespace halvex
