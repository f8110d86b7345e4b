// SPDX-License-Identifier: MIT
//
// Lines for the system log that never hold the daemon up for long. syslog(3) waits while the log's
// reader does not read, and anyone can have lines written.
#pragma once

#include "util/file_descriptor.h"

#include <chrono>
#include <string_view>

namespace halvex {

/// How long the daemon waits for a system log that is not read, in total. A tenth of the time that
/// passes is added again, up to this limit: two seconds in twenty.
constexpr std::chrono::milliseconds systemLogPatience(2000);

/// The system log, at /dev/log. Only a part of the log's queue is filled: other programs, the bus
/// among them, wait without a limit when it is full.
class SystemLog
{
public:
    /// Writes @p text as syslog(3) does with LOG_INFO and nothing else: facility user, the time,
    /// the program's name. The line is lost when the log is missing, or when it takes no line
    /// before the time to wait is used up.
    void write(std::string_view text) noexcept;

private:
    using Clock = std::chrono::steady_clock;

    FileDescriptor socket;
    Clock::duration patience = systemLogPatience;
    Clock::time_point lastLine = Clock::now();
};

} // namespace halvex
