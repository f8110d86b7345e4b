// SPDX-License-Identifier: MIT
//
// Worker processes that do not exit even when they are killed, because each waits for the lock of a
// file that another process holds. The number of such processes is limited.
#include "attacks/attackers.h"
#include "support/host_files.h"
#include "support/suite_host.h"
#include "util/expendable_worker.h"

#include <QDir>
#include <QFile>

#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/types.h>
#include <thread>
#include <unistd.h>

namespace {

using halvex::ExpendableWorker;
using halvex::JobControl;
using std::chrono::milliseconds;

/// Long enough for a job that ends, however slow the machine is.
constexpr milliseconds ample(patienceMs);
constexpr const char *heldPath = "/tmp/held";

bool waitsForLock(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string state;
    std::getline(file, state);
    return state.find(") D ") != std::string::npos;
}

/// Writes to the file @p path. As soon as the write waits for the file's lock, the worker process
/// tells its parent to wait no longer than a millisecond. So the parent gives it up.
std::string writeTo(const std::string &path, const JobControl &control)
{
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    std::atomic<bool> isWritten = false;
    std::thread teller([&, writer = gettid()] {
        while (!isWritten) {
            if (waitsForLock(writer)) {
                control.setPatience(milliseconds(1));
                return;
            }
            std::this_thread::sleep_for(milliseconds(1));
        }
    });
    isWritten = write(file, "x", 1) == 1;
    teller.join();
    return "written";
}

std::string reverse(const std::string &input, const JobControl & /*control*/)
{
    return {input.rbegin(), input.rend()};
}

/// How many worker processes of the name halvex-test there are on this host.
int workers()
{
    int count = 0;
    for (const QString &entry : QDir("/proc").entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile name("/proc/" + entry + "/comm"); // missing if the process has exited
        count += name.open(QIODevice::ReadOnly) && name.readAll() == "halvex-test\n" ? 1 : 0;
    }
    return count;
}

class WorkersLeftBehind : public SuiteHost
{
protected:
    Attackers attackers;
};

TEST_F(WorkersLeftBehind, AtTheLimitPreventNewJobsUntilTheyExit)
{
    constexpr int limit = halvex::maxLeftBehind;
    host::writeFile(heldPath, "", 0666);
    QProcess &file = attackers.startHangingFile(user::ordinary);
    attackers.start({"blocked-write", heldPath, Attackers::hangingFile()}, user::ordinary);
    ASSERT_EQ(linesUntil(file, "read", patienceMs), QStringList());

    ExpendableWorker worker("halvex-test");
    for (int i = 0; i < limit; ++i) {
        EXPECT_EQ(worker.run(writeTo, heldPath, ample), std::nullopt);
    }
    ASSERT_EQ(workers(), limit);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(worker.run(reverse, "abc", ample), std::nullopt);
        EXPECT_EQ(workers(), limit) << "the number of worker processes has changed";
    }
    ExpendableWorker ofALaterDaemon("halvex-test");
    EXPECT_EQ(ofALaterDaemon.run(reverse, "abc", ample), std::nullopt)
        << "a later daemon does not count the processes of the earlier one";
    EXPECT_EQ(workers(), limit);
    ExpendableWorker other("halvex-other");
    EXPECT_EQ(other.run(reverse, "abc", ample), "cba") << "processes of another name are counted";

    attackers.endAll();
    EXPECT_TRUE(waitFor([&worker] { return worker.run(reverse, "abc", ample) == "cba"; }));
    EXPECT_EQ(ofALaterDaemon.run(reverse, "abc", ample), "cba");
    // Each time the daemon gives up a worker process, it forgets those left behind that have
    // exited.
    const auto hang = [](const std::string &, const JobControl &) -> std::string {
        for (;;) {
            pause();
        }
    };
    EXPECT_TRUE(waitFor([&] {
        EXPECT_EQ(worker.run(hang, "", milliseconds(1)), std::nullopt);
        return workers() <= 1;
    })) << workers();
}

} // namespace
