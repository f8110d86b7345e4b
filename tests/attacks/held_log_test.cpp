// SPDX-License-Identifier: MIT
//
// A system log that nobody reads for a while.
#include "attacks/attacked_host.h"

#include <mutex>

namespace {

TEST_F(AttackedHost, RefusalsDelayNobodyWhileTheSystemLogIsNotRead)
{
    {
        const auto stopped = systemLog.stopReading();
        attackers.run({"flood", "--small", "3000"}, user::ordinary);
        EXPECT_TRUE(isServedWithin(patienceMs / 2));
    }
    // Once the log is read again, it gets the next refusal.
    EXPECT_TRUE(waitFor([this] {
        static_cast<void>(systemLog.takeLines());
        attackers.run({"flood", "--answers"}, user::ordinary);
        return systemLog.takeLines().contains(
            "<14>halvex-desktop-daemon: The caller has no permission");
    }));
}

} // namespace
