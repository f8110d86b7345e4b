// SPDX-License-Identifier: MIT
//
// Preloaded into the daemon by a test: makes the daemon's monotonic clock run ten times slower. The
// internet probe waits for two seconds by that clock. These are twenty seconds in fact, so that a
// slow machine can answer in time.
#include <chrono>
#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

using std::chrono::nanoseconds;
using std::chrono::seconds;

namespace {

constexpr int slowness = 10;

nanoseconds realTime()
{
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
}

} // namespace

/// Replaces the function of the C library.
extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (clock != CLOCK_MONOTONIC) {
        return int(syscall(SYS_clock_gettime, clock, time));
    }
    static const nanoseconds begin = realTime();
    const nanoseconds now = begin + (realTime() - begin) / slowness;
    time->tv_sec = std::chrono::duration_cast<seconds>(now).count();
    time->tv_nsec = (now % seconds(1)).count();
    return 0;
}
