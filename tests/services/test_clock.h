// SPDX-License-Identifier: MIT
//
// A clock that a test sets.
#pragma once

#include <chrono>

/// For as long as one lives, this program's time goes by as the test says, so that it does not
/// matter how fast the machine is. Only waits of the kernel itself, as in poll(2), take real time.
class TestClock
{
public:
    enum class Pace { Real, Slow, Standing };

    explicit TestClock(Pace pace = Pace::Standing);
    ~TestClock();
    TestClock(const TestClock &) = delete;
    TestClock &operator=(const TestClock &) = delete;

    /// Sets how fast time goes by from now on. A slow clock's goes by at a fifth of its pace.
    static void setPace(Pace pace);

    /// Lets @p time pass at once.
    static void advance(std::chrono::milliseconds time);
};
