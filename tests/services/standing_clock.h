// SPDX-License-Identifier: MIT
//
// A clock that a test sets.
#pragma once

#include <chrono>

/// For as long as one lives, this program's time goes on only as the test says, so that it does not
/// matter how fast the machine is. Only waits of the kernel itself, as in poll(2), take real time.
class StandingClock
{
public:
    StandingClock();
    ~StandingClock();
    StandingClock(const StandingClock &) = delete;
    StandingClock &operator=(const StandingClock &) = delete;

    /// Lets @p time pass at once.
    static void advance(std::chrono::milliseconds time);

    /// Lets time go on, but at a fifth of its pace.
    static void goOnSlowly();
};
