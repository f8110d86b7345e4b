// SPDX-License-Identifier: MIT
//
// A QProcess that keeps a limited amount of its program's output and, when it is closed, kills a
// running program with its process group. Plain QProcess keeps all output and kills only the
// program itself, but not the processes that a shell has started.
#pragma once

#include "util/file_descriptor.h"
#include "util/output_pipe.h"

#include <QProcess>

namespace halvex {

/// Runs its program as the leader of a process group of its own.
///
/// start() redirects both outputs to /dev/null. Nothing can be read from the QProcess itself. If
/// the process group or the redirections cannot be set up, the child exits with status 127 at once.
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

    /// Waits until the program has exited, and reads its output meanwhile. `finished` is emitted in
    /// this call.
    ///
    /// Background processes of the program may keep its outputs open. The call waits for them for
    /// at most @p jobTimeoutMs.
    ///
    /// @param timeoutMs     the time limit of the program; -1: there is no limit
    /// @param jobTimeoutMs  the time limit, from the start of this call, for reading the outputs
    ///                      after the exit of the program; reading ends earlier if both are closed
    /// @return true if the program has exited, see exitCode(); false on time-out, if the program
    ///         did not start, or if it cannot be observed
    [[nodiscard]] bool waitForExit(int timeoutMs, int jobTimeoutMs = 0);

    /// The program's output, at most maxCapturedBytes and maxCapturedErrorBytes; null if it is
    /// empty.
    [[nodiscard]] const QByteArray &standardOutput() const noexcept { return output.captured(); }
    [[nodiscard]] const QByteArray &standardError() const noexcept { return errors.captured(); }

    /// Kills the program and its process group, if the program still runs, and waits for its exit;
    /// `finished` is emitted in this call. If the program has exited, its background processes are
    /// not killed. If the kernel does not end the program within seconds, it is left behind.
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
