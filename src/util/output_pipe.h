// SPDX-License-Identifier: MIT
#pragma once

#include "util/file_descriptor.h"

#include <QByteArray>

namespace halvex {

/// How much is kept of a program's standard output and of its standard error, in bytes. The latter
/// may go to the log, which escapes it.
constexpr int maxCapturedBytes = 16 << 20;
constexpr int maxCapturedErrorBytes = 1 << 20;

/// A pipe that takes one output of a child process and keeps its first bytes. What follows is read
/// and discarded, so that the program is never held up.
///
/// No function blocks. Both ends are close-on-exec.
class OutputPipe
{
public:
    /// @param limit  how many bytes are kept
    explicit OutputPipe(int limit) noexcept : maxBytes(limit) {}

    /// Makes the pipe; false when that fails.
    [[nodiscard]] bool open() noexcept;

    /// Makes the pipe's write end the descriptor @p number of this process. Does nothing without a
    /// pipe. For the child between fork and exec.
    ///
    /// @return false when that fails
    [[nodiscard]] bool replace(int number) const noexcept;

    /// Closes the write end. For the parent once the child has been started.
    void closeWriteEnd() noexcept;

    /// Tells whether the pipe has been made and its end has not been read.
    [[nodiscard]] bool isOpen() const noexcept { return readEnd.isOpen(); }

    /// The read end, to be waited for with poll(); -1 unless the pipe is open.
    [[nodiscard]] int descriptor() const noexcept { return readEnd.get(); }

    /// Reads once, if anything is there or the end is reached.
    ///
    /// @return false when the pipe cannot be read
    [[nodiscard]] bool read();

    /// Reads what is in the pipe at the moment, however fast others write to it.
    ///
    /// @return false when the pipe cannot be read
    [[nodiscard]] bool readAvailable();

    /// What has been kept; null when nothing has been read.
    [[nodiscard]] const QByteArray &captured() const noexcept { return bytes; }

private:
    /// @return how much was read: 0 at the end, and when nothing is there; -1 when that failed
    [[nodiscard]] int readOnce();

    const int maxBytes;
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
    QByteArray bytes;
};

} // namespace halvex
