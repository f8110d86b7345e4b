// SPDX-License-Identifier: MIT
//
// Measures two actions alternately, so that other load on the machine affects both.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

namespace bench {

using Action = std::function<void()>;

/// Returns the duration of @p action in seconds.
inline double secondsOf(const Action &action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double medianOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// Prints a row of the table: what is measured, our value, the reference value, their ratio and the
/// goal.
inline void printRow(const char *what, double ours, double reference, const char *goal)
{
    std::printf("| %s | %.3f ms | %.3f ms | %.2f | %s |\n", what, ours * 1e3, reference * 1e3,
                ours / reference, goal);
    std::fflush(stdout);
}

/// Runs both actions alternately, @p rounds times, and prints their medians. Calls @p prepare
/// before each action. The order changes every round.
inline void compare(
    const char *what, int rounds, const Action &ours, const Action &reference, const char *goal,
    const Action &prepare = [] {})
{
    std::vector<double> ourTimes;
    std::vector<double> referenceTimes;
    const auto measure = [&prepare](const Action &action, std::vector<double> &times) {
        prepare();
        times.push_back(secondsOf(action));
    };
    for (int round = 0; round < rounds; ++round) {
        if (round % 2 == 0) {
            measure(ours, ourTimes);
        }
        measure(reference, referenceTimes);
        if (round % 2 != 0) {
            measure(ours, ourTimes);
        }
    }
    printRow(what, medianOf(ourTimes), medianOf(referenceTimes), goal);
}

} // namespace bench
