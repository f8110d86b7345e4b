// SPDX-License-Identifier: MIT
//
// Callers whose program lies on an overlay over a file system of their own that does not answer.
// The kernel asks that file system with the user's credentials, so FUSE does not refuse root's
// question.
#include "attacks/attacked_host.h"

namespace {

class HangingOverlay : public AttackedHost
{
protected:
    QProcess look; ///< cannot exit before the file system has ended
};

TEST_F(HangingOverlay, ACallerIsRefusedAndLeavesNothingBehind)
{
    EXPECT_TRUE(isServedWithin(patienceMs));
    const int before = tasksOfDaemon();
    QProcess &caller = attackers.start(
        {"overlay-program", "/srv/attackers/flood", "--answers", "--small", "3", "--stay"},
        user::ordinary);
    const QString refused = "status -999";
    ASSERT_EQ(linesUntil(caller, "sent", patienceMs), (QStringList{refused, refused, refused}))
        << caller.readAllStandardError().constData();
    EXPECT_TRUE(isServedWithin(patienceMs));
    EXPECT_EQ(tasksOfDaemon(), before);

    look.start("stat", {"--dereference", QString("/proc/%1/exe").arg(caller.processId())});
    EXPECT_EQ(linesUntil(caller, "asked", patienceMs), QStringList())
        << "stat's question does not reach the file system, so this test shows nothing";
}

} // namespace
