// SPDX-License-Identifier: MIT
#include "services/standing_clock.h"

#include <ctime>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

using std::chrono::nanoseconds;

namespace {

nanoseconds realTime()
{
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
}

enum class Pace { Real, Slow, Standing };

constexpr int slowness = 5;

std::mutex mutex;
Pace pace = Pace::Real;
nanoseconds change{}; ///< the real time at which the pace was set
nanoseconds shown{};  ///< what the clock showed then

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

void setPace(Pace next, nanoseconds step = {})
{
    const std::lock_guard lock(mutex);
    shown = shownNow() + step;
    change = realTime();
    pace = next;
}

} // namespace

StandingClock::StandingClock()
{
    setPace(Pace::Standing);
}

StandingClock::~StandingClock()
{
    setPace(Pace::Real);
}

void StandingClock::advance(std::chrono::milliseconds time)
{
    setPace(Pace::Standing, time);
}

void StandingClock::goOnSlowly()
{
    setPace(Pace::Slow);
}

/// Stands in the place of the C library's, for Qt's calls of it too.
extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (clock != CLOCK_MONOTONIC) {
        return int(syscall(SYS_clock_gettime, clock, time));
    }
    const std::lock_guard lock(mutex);
    const auto now = shownNow();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now);
    time->tv_sec = seconds.count();
    time->tv_nsec = (now - seconds).count();
    return 0;
}
