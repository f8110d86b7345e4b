// SPDX-License-Identifier: MIT
#include "support/host_files.h"
#include "support/wait_for.h"
#include "util/expendable_worker.h"
#include "util/left_behind.h"

#include <QProcess>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using halvex::ExpendableWorker;
using halvex::FileDescriptor;
using halvex::JobControl;

constexpr const char *name = "halvex-test";

std::size_t found(const char *wantedName = name, std::size_t maxCount = 64)
{
    std::vector<FileDescriptor> processes;
    halvex::findLeftBehind(wantedName, maxCount, processes);
    return processes.size();
}

std::string repeat(const std::string &input, const JobControl & /*control*/)
{
    return input;
}

TEST(LeftBehind, AWorkerIsFoundByItsNameWhileItRuns)
{
    {
        ExpendableWorker worker(name);
        EXPECT_EQ(found(), 0U) << "although only the template process exists yet";
        ASSERT_EQ(worker.run(repeat, "abc", std::chrono::minutes(1)), "abc");
        EXPECT_EQ(found(), 1U);
        EXPECT_EQ(found(name, 0), 0U) << "more processes were returned than requested";
        EXPECT_EQ(found("halvex-tes"), 0U);
    }
    EXPECT_TRUE(waitFor([] { return found() == 0; }));
}

TEST(LeftBehind, AnotherProgramWithTheWorkersNameIsNotFound)
{
    host::writeFile("/srv/halvex-test", host::readFile("/usr/bin/sleep"), 0755);
    QProcess program;
    program.start("/srv/halvex-test", {"infinity"});
    ASSERT_TRUE(program.waitForStarted());
    const QString comm = QString("/proc/%1/comm").arg(program.processId());
    ASSERT_TRUE(waitFor([&] { return host::readFile(comm) == "halvex-test\n"; }));
    EXPECT_EQ(found(), 0U);
    program.kill();
    program.waitForFinished();
}

TEST(LeftBehind, AProcessOfAnotherUserWithTheWorkersNameIsNotFound)
{
    const pid_t process = fork();
    if (process == 0) {
        static_cast<void>(setuid(2002));
        prctl(PR_SET_NAME, name);
        for (;;) {
            pause();
        }
    }
    const QString comm = QString("/proc/%1/comm").arg(process);
    ASSERT_TRUE(waitFor([&] { return host::readFile(comm) == "halvex-test\n"; }));
    EXPECT_EQ(found(), 0U);
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}

} // namespace
