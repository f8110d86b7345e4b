// SPDX-License-Identifier: MIT
//
// SIGTERM is how the daemon is stopped, also by systemd when the bus takes its name away. It must
// not come while a settings file is being written, for that would leave half a file.
#pragma once

#include <csignal>

namespace halvex {

/// As long as it lives, this thread does not take SIGTERM, nor do threads that it makes meanwhile,
/// ever. A signal that has come is taken at its end of life.
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
