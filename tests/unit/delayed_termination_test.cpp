// SPDX-License-Identifier: MIT
#include "util/delayed_termination.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <functional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

/// What has become of a process that gets a signal while a termination is delayed. The process
/// prints "x" at the end of the delay, and prints "y" if it still runs after the delay.
struct Outcome
{
    std::string printed;
    int status = 0;
};

/// Runs @p signal in a child process, while a termination is delayed there.
Outcome outcomeOf(const std::function<void()> &signal)
{
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    const pid_t child = fork();
    if (child == 0) {
        {
            const halvex::DelayedTermination untilPrinted;
            signal();
            static_cast<void>(write(ends[1], "x", 1));
        }
        static_cast<void>(write(ends[1], "y", 1));
        _exit(0);
    }
    close(ends[1]);
    Outcome outcome;
    char byte = 0;
    while (read(ends[0], &byte, 1) == 1) {
        outcome.printed += byte;
    }
    close(ends[0]);
    EXPECT_EQ(waitpid(child, &outcome.status, 0), child);
    return outcome;
}

void expectDelayed(const Outcome &outcome)
{
    EXPECT_EQ(outcome.printed, "x");
    EXPECT_TRUE(WIFSIGNALED(outcome.status));
    EXPECT_EQ(WTERMSIG(outcome.status), SIGTERM);
}

TEST(DelayedTermination, ASignalTakesEffectAtTheEndOfTheDelay)
{
    expectDelayed(outcomeOf([] { EXPECT_EQ(kill(getpid(), SIGTERM), 0); }));
}

TEST(DelayedTermination, ASignalThatAnotherThreadReceivesTakesEffectAtTheEndOfTheDelay)
{
    // raise() sends the signal to the calling thread.
    expectDelayed(outcomeOf([] { std::thread([] { EXPECT_EQ(raise(SIGTERM), 0); }).join(); }));
}

TEST(DelayedTermination, WithoutASignalTheProcessGoesOn)
{
    const Outcome outcome = outcomeOf([] {});
    EXPECT_EQ(outcome.printed, "xy");
    EXPECT_EQ(outcome.status, 0);
}

TEST(DelayedTermination, ASignalAfterTheDelayTakesEffectAtOnce)
{
    EXPECT_EXIT(
        {
            {
                const halvex::DelayedTermination shortly;
            }
            static_cast<void>(raise(SIGTERM));
        },
        testing::KilledBySignal(SIGTERM), "");
}

} // namespace
