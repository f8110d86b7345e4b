// SPDX-License-Identifier: MIT
#include "support/processor_time.h"

#include "support/wait_for.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace std::chrono_literals;

std::chrono::nanoseconds processorTime(pid_t pid)
{
    clockid_t clock = {};
    timespec time = {};
    EXPECT_EQ(clock_getcpuclockid(pid, &clock), 0);
    EXPECT_EQ(clock_gettime(clock, &time), 0);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

bool keepsBusy(pid_t pid)
{
    const auto before = processorTime(pid);
    return waitFor([&] { return processorTime(pid) - before > 1s; });
}
