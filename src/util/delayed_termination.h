// SPDX-License-Identifier: MIT
//
// SIGTERM stops the daemon. systemd sends this signal also when the daemon loses its bus name. The
// signal must not arrive while a settings file is being written, because half a file would remain.
#pragma once

#include <csignal>

namespace halvex {

/// While this object exists, SIGTERM is blocked in this thread. A thread that is created meanwhile
/// keeps SIGTERM blocked for ever. A pending SIGTERM is delivered when the object is destroyed.
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
