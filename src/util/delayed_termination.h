// SPDX-License-Identifier: MIT
//
// SIGTERM stops the daemon. systemd sends this signal also when the daemon loses its bus name. The
// signal must not take effect while a settings file is being written, because half a file would
// remain.
#pragma once

#include <csignal>

namespace halvex {

/// While this object exists, SIGTERM has no effect on the process. If the signal has arrived, it
/// takes effect when the object is destroyed. There may be only one object at a time.
class DelayedTermination
{
public:
    DelayedTermination() noexcept;
    DelayedTermination(const DelayedTermination &) = delete;
    DelayedTermination &operator=(const DelayedTermination &) = delete;
    ~DelayedTermination();

private:
    struct sigaction previous = {};
};

} // namespace halvex
