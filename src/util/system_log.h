// SPDX-License-Identifier: MIT
//
// Lines for the system log that never hold the daemon up. syslog(3) waits while the log's reader
// does not read, and anyone can have lines written.
#pragma once

#include <string_view>

namespace halvex {

/// Writes @p text to /dev/log as syslog(3) does with LOG_INFO and nothing else: facility user, the
/// time, the program's name. The line is lost when the log is missing, or full because its reader
/// does not keep up.
void logToSystem(std::string_view text) noexcept;

/// Makes writes to standard output and standard error fail instead of waiting, where these are
/// sockets, as under systemd: what journald does not take in time is lost. Streams of any other
/// kind are left alone, for somebody else may share them.
void keepOutputFromBlocking() noexcept;

} // namespace halvex
