// SPDX-License-Identifier: MIT
#include "util/delayed_termination.h"

namespace halvex {

DelayedTermination::DelayedTermination() noexcept
{
    sigset_t termination{};
    sigemptyset(&termination);
    sigaddset(&termination, SIGTERM);
    // Neither call can fail with these arguments.
    static_cast<void>(pthread_sigmask(SIG_BLOCK, &termination, &previous));
}

DelayedTermination::~DelayedTermination()
{
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &previous, nullptr));
}

} // namespace halvex
