// SPDX-License-Identifier: MIT
#include "util/delayed_termination.h"

#include <atomic>

namespace halvex {
namespace {

// A signal handler can use nothing but static variables. Blocking the signal would need no
// handler and no such variables, but the signal would have to be blocked in every thread, also in
// those that Qt creates.
std::atomic<bool> isDelayed = false;
std::atomic<bool> hasArrived = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void delay(int signal)
{
    hasArrived = true;
    // The destructor may have read hasArrived before this thread set it. So raise the signal again.
    // It is delivered when this handler returns: then it has its usual effect, or this handler runs
    // again.
    if (!isDelayed) {
        static_cast<void>(raise(signal));
    }
}

} // namespace

DelayedTermination::DelayedTermination() noexcept
{
    hasArrived = false;
    isDelayed = true;
    struct sigaction action = {};
    action.sa_handler = delay;
    action.sa_flags = SA_RESTART;
    // With these arguments, sigaction() cannot fail, neither here nor in the destructor.
    static_cast<void>(sigaction(SIGTERM, &action, &previous));
}

DelayedTermination::~DelayedTermination()
{
    isDelayed = false;
    static_cast<void>(sigaction(SIGTERM, &previous, nullptr));
    if (hasArrived) {
        static_cast<void>(raise(SIGTERM));
    }
}

} // namespace halvex
