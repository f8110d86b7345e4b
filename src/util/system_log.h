// SPDX-License-Identifier: MIT
//
// Lines for the system log that never block the daemon for long. syslog(3) blocks while the log
// daemon does not read, and any user can cause log lines, by calls that are refused.
#pragma once

#include "util/file_descriptor.h"

#include <chrono>
#include <string_view>

namespace halvex {

/// How long the daemon waits in total for a log daemon that does not read. The remaining time grows
/// by a tenth of the elapsed time, up to this limit: two seconds in twenty.
constexpr std::chrono::milliseconds systemLogPatienceMs(2000);

/// The system log, at /dev/log. Only a part of the log's queue is filled: if it is full, other
/// programs, such as the bus daemon, wait for it without a limit.
class SystemLog
{
public:
    /// Writes @p text like syslog(3) with LOG_INFO and no options: facility LOG_USER, the time, the
    /// program's name. The line is lost if there is no log, or if the log takes no line before the
    /// remaining time has passed.
    void write(std::string_view text) noexcept;

private:
    using Clock = std::chrono::steady_clock;

    FileDescriptor socket;
    Clock::duration patience = systemLogPatienceMs;
    Clock::time_point lastLine = Clock::now();
};

} // namespace halvex
