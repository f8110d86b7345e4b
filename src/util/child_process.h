// SPDX-License-Identifier: MIT
//
// A QProcess that keeps a bounded part of what its program prints, and that leaves nothing running
// behind it. Plain QProcess keeps all output, and kills only the program it started: what a shell
// has started in turn would live on.
#pragma once

#include "util/file_descriptor.h"
#include "util/output_pipe.h"

#include <QProcess>

namespace halvex {

/// Runs its program as the leader of a process group of its own.
///
/// Both outputs lead to /dev/null if the program is started by start(). Nothing can be read from
/// the QProcess itself. A program whose group or outputs cannot be set up exits with 127 at once.
class ChildProcess : public QProcess
{
public:
    ChildProcess();
    /// Closes the process.
    ~ChildProcess() override;
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    /// Starts @p program, as start() does, and captures both outputs.
    ///
    /// @return false when there are no pipes for that; the program is then not started. Whether it
    ///         runs, waitForStarted() says.
    [[nodiscard]] bool startCapturing(const QString &program, const QStringList &arguments,
                                      OpenMode mode);

    /// Waits until the program has exited, and reads what it prints meanwhile. `finished` is
    /// emitted in this call.
    ///
    /// What the program has left in the background may hold its outputs, and is not waited for
    /// longer than @p jobTimeoutMs.
    ///
    /// @param timeoutMs     how long the program may take; -1: there is no limit
    /// @param jobTimeoutMs  from the start of this call, how long the outputs are read after the
    ///                      program has exited, unless both are closed before
    /// @return true when the program has exited and exitCode() says how; false when the time is
    ///         up, and when the program did not start or cannot be observed
    [[nodiscard]] bool waitForExit(int timeoutMs, int jobTimeoutMs = 0);

    /// What the program has printed, maxCapturedBytes and maxCapturedErrorBytes at most; null when
    /// that is nothing.
    [[nodiscard]] const QByteArray &standardOutput() const noexcept { return output.captured(); }
    [[nodiscard]] const QByteArray &standardError() const noexcept { return errors.captured(); }

    /// Kills the program if it still runs, together with its group, and waits for its exit;
    /// `finished` is emitted in this call. What an ended program has left in the background lives
    /// on. A program that the kernel does not end within seconds is left behind.
    void close() override;

protected:
    void setupChildProcess() override;

private:
    [[nodiscard]] bool readUntilExit(int timeoutMs, int jobTimeoutMs);
    [[nodiscard]] bool watchForExit();
    [[nodiscard]] bool settle();

    OutputPipe output{maxCapturedBytes};
    OutputPipe errors{maxCapturedErrorBytes};
    FileDescriptor exitNotice; ///< readable once the program has exited
};

} // namespace halvex
