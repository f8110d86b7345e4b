// SPDX-License-Identifier: MIT
#include "services/test_clock.h"

#include <ctime>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

using std::chrono::nanoseconds;
using Pace = TestClock::Pace;

namespace {

nanoseconds realTime()
{
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
}

constexpr int slowness = 5;

std::mutex mutex;
Pace pace = Pace::Real;
nanoseconds change{}; ///< the real time at which the pace was set
nanoseconds shown{};  ///< what the clock showed at that time

nanoseconds shownNow()
{
    switch (pace) {
    case Pace::Standing:
        return shown;
    case Pace::Slow:
        return shown + (realTime() - change) / slowness;
    case Pace::Real:
        break;
    }
    return realTime();
}

} // namespace

TestClock::TestClock(Pace pace)
{
    setPace(pace);
}

TestClock::~TestClock()
{
    setPace(Pace::Real);
}

void TestClock::setPace(Pace next)
{
    const std::lock_guard lock(mutex);
    shown = shownNow();
    change = realTime();
    pace = next;
}

void TestClock::advance(std::chrono::milliseconds time)
{
    const std::lock_guard lock(mutex);
    shown += time;
}

/// Replaces the function of the C library, also for Qt.
extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (clock != CLOCK_MONOTONIC) {
        return int(syscall(SYS_clock_gettime, clock, time));
    }
    const std::lock_guard lock(mutex);
    const auto now = shownNow();
    time->tv_sec = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    time->tv_nsec = (now % std::chrono::seconds(1)).count();
    return 0;
}
