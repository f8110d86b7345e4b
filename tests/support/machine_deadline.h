// SPDX-License-Identifier: MIT
//
// A time limit for a machine of any speed.
#pragma once

#include <QElapsedTimer>
#include <QProcess>

/// A time limit that a slow machine, or a loaded one, is given more of.
///
/// Whoever waits asks again and again whether the limit is over. Each time a small job is done, and
/// the time since the last question counts in full only if a fast and idle machine would have taken
/// as long for the job. So "within eight seconds" means eight seconds there, and whatever takes a
/// machine as long that is ten times slower. What is told apart, such as an answer after two
/// seconds from one after half a minute, needs only be told apart where the machine is fast.
class MachineDeadline
{
public:
    /// The limit begins now and is @p limitMs on a fast and idle machine.
    explicit MachineDeadline(int limitMs);

    [[nodiscard]] bool hasExpired();

    /// What has gone by in all, on this machine.
    [[nodiscard]] qint64 elapsedMs() const { return total.elapsed(); }

    /// How long to wait between two questions at most.
    static constexpr int stepMs = 50;

private:
    QElapsedTimer total;
    QElapsedTimer sinceQuestion;
    double leftMs;
};

/// Waits until @p process has exited, for @p limitMs of a fast machine at most; false when it has
/// not.
[[nodiscard]] bool exitsWithin(QProcess &process, int limitMs);
