// SPDX-License-Identifier: MIT
#include "dbus/daemon_service.h"
#include "services/test_clock.h"
#include "support/message_log.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <malloc.h>

namespace {

int trims = 0;

} // namespace

/// Replaces the C library's function, and counts the calls.
extern "C" int malloc_trim(size_t /*pad*/) noexcept
{
    ++trims;
    return 0;
}

namespace {

using std::chrono::milliseconds;

int trimsAfter(milliseconds time)
{
    TestClock::advance(time);
    QCoreApplication::processEvents();
    return trims;
}

TEST(IdleMemory, IsReturnedOneTimeWhenASecondHasPassedSinceTheLastCall)
{
    const MessageLog log; // the calls do not come over the bus, and are refused
    halvexDesktopDaemonService service;
    const TestClock clock;
    for (int call = 0; call < 3; ++call) {
        QString count;
        EXPECT_EQ(service.getEventTotalCount(count), -999);
        EXPECT_EQ(trimsAfter(milliseconds(900)), 0);
    }
    EXPECT_EQ(trimsAfter(milliseconds(200)), 1);
    for (int second = 0; second < 3; ++second) {
        EXPECT_EQ(trimsAfter(milliseconds(1100)), 1) << "although nobody has called";
    }
    EXPECT_EQ(service.generateLogFile(), -999);
    EXPECT_EQ(trimsAfter(milliseconds(1100)), 2);
}

} // namespace
