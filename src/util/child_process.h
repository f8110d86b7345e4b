// SPDX-License-Identifier: MIT
//
// A QProcess that leaves nothing running behind it. Plain QProcess kills only the program it
// started: what a shell has started in turn would live on, holding the daemon's pipes.
#pragma once

#include <QProcess>

namespace halvex {

/// Runs its program as the leader of a process group of its own.
class ChildProcess : public QProcess
{
public:
    ChildProcess() = default;
    /// Closes the process.
    ~ChildProcess() override;
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    /// Kills the program if it still runs, together with its group, and waits until it is reaped;
    /// `finished` is emitted in this call. What an ended program has left in the background lives
    /// on.
    void close() override;

protected:
    void setupChildProcess() override;
};

} // namespace halvex
