// SPDX-License-Identifier: MIT
//
// The daemon is stopped by SIGTERM; systemd also sends it when the daemon loses its bus name. The
// signal must not arrive while a settings file is being written, because half a file would remain.
#pragma once

#include <csignal>

namespace halvex {

/// While this object exists, SIGTERM is blocked in this thread. Threads created in this time keep
/// it blocked for ever. A pending SIGTERM is delivered when the object is destroyed.
class DelayedTermination
{
public:
    DelayedTermination() noexcept;
    DelayedTermination(const DelayedTermination &) = delete;
    DelayedTermination &operator=(const DelayedTermination &) = delete;
    ~DelayedTermination();

private:
    sigset_t previous{};
};

} // namespace halvex
