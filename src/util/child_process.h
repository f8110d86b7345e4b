// SPDX-License-Identifier: MIT
//
// A QProcess that keeps only a limited amount of its program's output. If it is closed while the
// program runs, it kills the program and the program's process group. Plain QProcess keeps all
// output, and kills only the program itself, not the processes that a shell has started.
#pragma once

#include "util/file_descriptor.h"
#include "util/output_pipe.h"

#include <QProcess>

namespace halvex {

/// Runs its program as the leader of a new process group.
///
/// start() redirects standard output and standard error to /dev/null. The read functions of
/// QProcess return no data: use startCapturing() and the functions standardOutput() and
/// standardError(). If the process group or the redirections cannot be set up, the child exits with
/// status 127 at once.
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
    /// @return false if the pipes cannot be created; the program is then not started. Use
    ///         waitForStarted() to find out whether the program runs.
    [[nodiscard]] bool startCapturing(const QString &program, const QStringList &arguments,
                                      OpenMode mode);

    /// Waits until the program has exited, and reads its output meanwhile. The signal `finished` is
    /// emitted during this call.
    ///
    /// Background processes of the program may keep its outputs open. The call waits for them for
    /// at most @p jobTimeoutMs.
    ///
    /// @param timeoutMs     the time limit of the program; -1: there is no limit
    /// @param jobTimeoutMs  the time limit of the background processes. It begins with this call,
    ///                      or later, when the program has started. It takes effect only after the
    ///                      program's exit. If both outputs are closed, reading ends earlier.
    /// @return true if the program has exited, see exitCode(); false on time-out, if the program
    ///         did not start, or if a system call failed
    [[nodiscard]] bool waitForExit(int timeoutMs, int jobTimeoutMs = 0);

    /// The program's output, at most maxCapturedBytes and maxCapturedErrorBytes; null if it is
    /// empty.
    [[nodiscard]] const QByteArray &standardOutput() const noexcept { return output.captured(); }
    [[nodiscard]] const QByteArray &standardError() const noexcept { return errors.captured(); }

    /// If the program still runs, kills it and its process group, and waits for its exit. The
    /// signal `finished` is emitted during this call. If the program has exited already, its
    /// background processes are not killed. A killed program that does not exit within seconds is
    /// left behind.
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
