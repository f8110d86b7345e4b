// SPDX-License-Identifier: MIT
//
// A clock that a test sets.
#pragma once

#include <chrono>

/// During its lifetime, the test sets this program's monotonic clock, so that the machine's speed
/// does not matter. Only waits inside the kernel, as in poll(2), take real time.
class TestClock
{
public:
    enum class Pace { Real, Slow, Standing };

    explicit TestClock(Pace pace = Pace::Standing);
    ~TestClock();
    TestClock(const TestClock &) = delete;
    TestClock &operator=(const TestClock &) = delete;

    /// Sets how fast the clock runs from now on. A slow clock runs at a fifth of the real speed.
    static void setPace(Pace pace);

    /// Advances the clock by @p time at once. Has no effect at the pace Real.
    static void advance(std::chrono::milliseconds time);
};
