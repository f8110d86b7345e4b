// SPDX-License-Identifier: MIT
//
// Writes lines to the system log without blocking the daemon for long. syslog(3) blocks while the
// log daemon does not read. Any user can cause log lines, because each refused call is logged.
#pragma once

#include "util/file_descriptor.h"

#include <chrono>
#include <string_view>

namespace halvex {

/// The maximum total time that the daemon waits for a log daemon that does not read. Each wait uses
/// up a part of this time. A tenth of the time that passes is added again, so that the full time is
/// available after twenty seconds.
constexpr std::chrono::milliseconds systemLogPatienceMs(2000);

/// The system log, at /dev/log, which must be a datagram socket. The daemon fills only a part of
/// the log's queue. While the queue is full, other programs, such as the bus daemon, wait without a
/// limit.
class SystemLog
{
public:
    /// Writes @p text as syslog(3) does with LOG_INFO and no options: with the facility LOG_USER,
    /// the time and the program's name. The line is lost if there is no log, or if the log does not
    /// accept the line within the remaining time.
    void write(std::string_view text) noexcept;

private:
    using Clock = std::chrono::steady_clock;

    FileDescriptor socket;
    Clock::duration patience = systemLogPatienceMs;
    Clock::time_point lastLine = Clock::now();
};

} // namespace halvex
