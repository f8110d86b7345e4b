// SPDX-License-Identifier: MIT
//
// A daemon that no longer receives anything from the bus, although its event loop runs. systemd's
// watchdog ends it, and systemd starts a new one.
#include "attacks/attackers.h"
#include "attacks/bystander.h"
#include "packaged/installed_host.h"
#include "support/host_files.h"

#include <QDir>

namespace {

class LostBus : public InstalledHost
{
protected:
    void SetUp() override
    {
        InstalledHost::SetUp();
        bystander::prepare();
        addToUnit("WatchdogSec=2s\n");
        ASSERT_TRUE(isServed());
        pid = daemonPid();
    }

    static testing::AssertionResult isServed()
    {
        return bystander::isServedWithin(
            patienceMs / 2, frontEndCommand(bystander::caller, {"--json", bystander::method}));
    }

    /// Expects that a new daemon runs and serves.
    void expectItIsBack() const
    {
        EXPECT_TRUE(waitFor([this] { return daemonPid() != pid && daemonPid() != 0; }));
        EXPECT_TRUE(isServed());
    }

    /// The daemon's thread that reads from the bus; 0 if there is none.
    [[nodiscard]] int busThread() const
    {
        const QString threads = QString("/proc/%1/task/").arg(pid);
        for (const QString &thread : QDir(threads).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            if (host::readFile(threads + thread + "/comm").startsWith("QDBus")) {
                return thread.toInt();
            }
        }
        return 0;
    }

    int pid = 0;
};

TEST_F(LostBus, ADaemonWhoseBusThreadIsStoppedIsRestarted)
{
    const int thread = busThread();
    ASSERT_NE(thread, 0);
    QProcess stopper;
    stopper.start(ATTACKERS "/stop-thread", {QString::number(thread)});
    ASSERT_EQ(linesUntil(stopper, "stopped", patienceMs), QStringList());
    ASSERT_EQ(daemonPid(), pid);
    expectItIsBack();
    EXPECT_TRUE(journal().contains("result 'watchdog'")) << journal().toStdString();
    stopper.kill();
    stopper.waitForFinished();
}

} // namespace
