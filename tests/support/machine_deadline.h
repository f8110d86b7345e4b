// SPDX-License-Identifier: MIT
//
// A time limit for a machine of any speed.
#pragma once

#include <QElapsedTimer>
#include <QProcess>

/// A time limit that is longer on a slow or loaded machine.
///
/// The waiting test calls hasExpired() again and again. Each call runs a small job and measures its
/// duration. The time since the last call counts in full only if the job was as fast as on a fast
/// and idle machine; otherwise it counts proportionally less. So "within eight seconds" means eight
/// seconds on a fast machine and eighty on a machine that is ten times slower. A limit that
/// separates two outcomes, such as an answer after two seconds and one after half a minute, only
/// needs to separate them on a fast machine.
class MachineDeadline
{
public:
    /// The limit begins now and is @p limitMs on a fast and idle machine.
    explicit MachineDeadline(int limitMs);

    [[nodiscard]] bool hasExpired();

    /// The real time since the limit began.
    [[nodiscard]] qint64 elapsedMs() const { return total.elapsed(); }

    /// The longest time to wait between two calls of hasExpired().
    static constexpr int stepMs = 50;

private:
    QElapsedTimer total;
    QElapsedTimer sinceQuestion;
    double leftMs;
};

/// Waits until @p process has exited, at most for a MachineDeadline of @p limitMs. Returns false if
/// the process still runs then.
[[nodiscard]] bool exitsWithin(QProcess &process, int limitMs);
