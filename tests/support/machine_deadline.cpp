// SPDX-License-Identifier: MIT
#include "support/machine_deadline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <spawn.h>
#include <sys/wait.h>

namespace {

/// How long a fast and idle machine takes to run a program that does nothing.
constexpr double fastJobMs = 2;

double jobMs()
{
    QElapsedTimer timer;
    timer.start();
    std::string program = "/bin/true";
    char *const arguments[] = {program.data(), nullptr};
    char *const environment[] = {nullptr};
    pid_t process = 0;
    EXPECT_EQ(posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, environment), 0);
    EXPECT_EQ(waitpid(process, nullptr, 0), process);
    return double(timer.nsecsElapsed()) / 1e6;
}

} // namespace

MachineDeadline::MachineDeadline(int limitMs) : leftMs(limitMs)
{
    total.start();
    sinceQuestion.start();
}

bool MachineDeadline::hasExpired()
{
    // If this process did not run for a while, the machine's speed in that time is unknown. Count
    // at most two steps of that time.
    const double gone = double(std::min<qint64>(sinceQuestion.elapsed(), 2 * stepMs));
    leftMs -= gone * std::min(1.0, fastJobMs / jobMs());
    sinceQuestion.start();
    return leftMs <= 0;
}

bool exitsWithin(QProcess &process, int limitMs)
{
    MachineDeadline deadline(limitMs);
    while (process.state() != QProcess::NotRunning && !deadline.hasExpired()) {
        process.waitForFinished(MachineDeadline::stepMs);
    }
    return process.state() == QProcess::NotRunning;
}
