// SPDX-License-Identifier: MIT
#include "support/process_resources.h"
#include "support/wait_for.h"
#include "util/expendable_worker.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using halvex::ExpendableWorker;
using halvex::JobControl;
using std::chrono::milliseconds;

/// Long enough for a job that ends, even on a slow machine.
constexpr milliseconds ample(60000);
/// Short enough for the test to wait for a time-out.
constexpr milliseconds brief(50);
/// Long enough for a job to set its patience or interim result before it hangs, yet short enough
/// for the test to wait for.
constexpr milliseconds timeToSayIt(2000);

std::string reverse(const std::string &input, const JobControl & /*control*/)
{
    return {input.rbegin(), input.rend()};
}

std::string processId(const std::string & /*input*/, const JobControl & /*control*/)
{
    return std::to_string(getpid());
}

std::string hang(const std::string & /*input*/, const JobControl & /*control*/)
{
    while (true) {
        pause();
    }
}

pid_t processOf(ExpendableWorker &worker)
{
    return std::stoi(worker.run(processId, "", ample).value_or("0"));
}

/// Tells whether the process @p pid exists and is not a zombie. /proc/PID/exe is not used, because
/// it vanishes before the process has closed its files.
bool lives(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(file, text);
    const auto name = text.rfind(") ");
    return name != std::string::npos && text[name + 2] != 'Z' && text[name + 2] != 'X';
}

TEST(ExpendableWorker, DoesAJobAndReturnsItsResult)
{
    ExpendableWorker worker("halvex-test");
    EXPECT_EQ(worker.run(reverse, "abc", ample), "cba");
    EXPECT_EQ(worker.run(reverse, "", ample), "");
    EXPECT_EQ(worker.run(reverse, std::string("a\0b", 3), ample), std::string("b\0a", 3));
}

TEST(ExpendableWorker, CarriesTextsOfAnySize)
{
    ExpendableWorker worker("halvex-test");
    const std::string text(std::size_t(20) << 20, 'x');
    EXPECT_TRUE(worker.run(reverse, text, ample) == text);
}

TEST(ExpendableWorker, IsOneProcessForManyJobs)
{
    ExpendableWorker worker("halvex-test");
    const pid_t process = processOf(worker);
    EXPECT_NE(process, getpid());
    EXPECT_EQ(processOf(worker), process);
}

TEST(ExpendableWorker, IsKilledWhenAJobHangsAndReplacedForTheNextJob)
{
    ExpendableWorker worker("halvex-test");
    const pid_t process = processOf(worker);
    EXPECT_EQ(worker.run(hang, "", brief), std::nullopt);
    EXPECT_TRUE(waitFor([process] { return !lives(process); }));
    const pid_t next = processOf(worker);
    EXPECT_GT(next, 0);
    EXPECT_NE(next, process);
}

TEST(ExpendableWorker, LeavesNoZombiesBehind)
{
    ExpendableWorker worker("halvex-test");
    for (int i = 0; i < 20; ++i) {
        const pid_t process = processOf(worker);
        ASSERT_GT(process, 0);
        EXPECT_EQ(worker.run(hang, "", milliseconds(1)), std::nullopt);
        // A zombie keeps its directory in /proc.
        const std::string directory = "/proc/" + std::to_string(process);
        ASSERT_TRUE(waitFor([&directory] { return !std::filesystem::exists(directory); }));
    }
}

TEST(ExpendableWorker, WaitsForAsLongAsTheJobSays)
{
    ExpendableWorker worker("halvex-test");
    ASSERT_GT(processOf(worker), 0);
    const auto slow = [](const std::string &, const JobControl &control) -> std::string {
        control.setPatience(std::nullopt);
        usleep(1000 * unsigned(3 * timeToSayIt.count() / 2));
        control.setPatience(ample);
        usleep(1000 * unsigned(3 * timeToSayIt.count() / 2));
        return "done";
    };
    EXPECT_EQ(worker.run(slow, "", timeToSayIt), "done");
    const auto hurried = [](const std::string &, const JobControl &control) -> std::string {
        control.setPatience(brief);
        return hang("", control);
    };
    EXPECT_EQ(worker.run(hurried, "", ample), std::nullopt);
}

TEST(ExpendableWorker, ReturnsTheInterimResultOfAJobThatTimesOut)
{
    ExpendableWorker worker("halvex-test");
    const auto half = [](const std::string &, const JobControl &control) -> std::string {
        control.setInterimResult("a quarter");
        control.setInterimResult("half");
        return hang("", control);
    };
    EXPECT_EQ(worker.run(half, "", timeToSayIt), "half");
    const auto whole = [](const std::string &, const JobControl &control) -> std::string {
        control.setInterimResult("half");
        return "whole";
    };
    EXPECT_EQ(worker.run(whole, "", ample), "whole");
    EXPECT_EQ(worker.run(hang, "", brief), std::nullopt)
        << "the interim result of an earlier job is returned";
}

TEST(ExpendableWorker, SurvivesAJobThatCrashesThrowsOrExits)
{
    ExpendableWorker worker("halvex-test");
    const auto crash = [](const std::string &, const JobControl &) -> std::string {
        prctl(PR_SET_DUMPABLE, 0); // no core file
        std::abort();
    };
    const auto runOutOfMemory = [](const std::string &, const JobControl &) -> std::string {
        throw std::bad_alloc();
    };
    const auto exit = [](const std::string &, const JobControl &) -> std::string { _exit(3); };
    EXPECT_EQ(worker.run(crash, "", ample), std::nullopt);
    EXPECT_EQ(worker.run(runOutOfMemory, "", ample), std::nullopt);
    EXPECT_EQ(worker.run(exit, "", ample), std::nullopt);
    EXPECT_EQ(worker.run(reverse, "abc", ample), "cba");
}

TEST(ExpendableWorker, IsReplacedAfterItHasBeenKilled)
{
    ExpendableWorker worker("halvex-test");
    const pid_t process = processOf(worker);
    ASSERT_EQ(kill(process, SIGKILL), 0);
    EXPECT_TRUE(waitFor([process] { return !lives(process); }));
    EXPECT_EQ(worker.run(reverse, "abc", ample), "cba");
}

TEST(ExpendableWorker, HoldsNoneOfTheDaemonsFilesOpen)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ExpendableWorker worker("halvex-test");
    const pid_t process = processOf(worker);
    // The worker's three standard streams and its socket are open. The directory that is open for
    // counting belongs to this process.
    EXPECT_EQ(openFilesOf(process), 4);
    const std::string descriptors = "/proc/" + std::to_string(process) + "/fd/";
    EXPECT_EQ(std::filesystem::read_symlink(descriptors + '0'), "/dev/null");
    EXPECT_EQ(std::filesystem::read_symlink(descriptors + '1'), "/dev/null");
    close(ends[0]);
    close(ends[1]);
}

TEST(ExpendableWorker, ExitsWhenItsObjectIsDestroyedAndWhenItsParentExits)
{
    pid_t process = 0;
    {
        ExpendableWorker worker("halvex-test");
        process = processOf(worker);
        EXPECT_TRUE(lives(process));
    }
    EXPECT_TRUE(waitFor([process] { return !lives(process); }));

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        auto *worker = new ExpendableWorker("halvex-test");
        const pid_t grandchild = processOf(*worker);
        _exit(write(ends[1], &grandchild, sizeof grandchild) == sizeof grandchild ? 0 : 1);
    }
    pid_t grandchild = 0;
    ASSERT_EQ(read(ends[0], &grandchild, sizeof grandchild), ssize_t(sizeof grandchild));
    EXPECT_GT(grandchild, 0);
    EXPECT_EQ(waitpid(parent, nullptr, 0), parent);
    EXPECT_TRUE(waitFor([grandchild] { return !lives(grandchild); }));
    close(ends[0]);
    close(ends[1]);
}

} // namespace
