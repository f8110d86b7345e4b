// SPDX-License-Identifier: MIT
#pragma once

#include "util/file_descriptor.h"

#include <QByteArray>

namespace halvex {

/// How many bytes of a program's standard output and of its standard error are kept. The limit for
/// standard error is lower, because that text may be logged, and escape sequences make it longer.
constexpr int maxCapturedBytes = 16 << 20;
constexpr int maxCapturedErrorBytes = 1 << 20;

/// A pipe that takes one output of a child process and keeps its first bytes. All further output is
/// read and discarded, so that the program never blocks.
///
/// No function blocks. Both ends are close-on-exec.
class OutputPipe
{
public:
    /// @param limit  the number of bytes that are kept
    explicit OutputPipe(int limit) noexcept : maxBytes(limit) {}

    /// Creates the pipe; false on failure.
    [[nodiscard]] bool open() noexcept;

    /// Duplicates the pipe's write end onto descriptor @p number, as dup2(2) does. A no-op if no
    /// pipe was created. Call this in the child between fork and exec.
    ///
    /// @return false on failure
    [[nodiscard]] bool replace(int number) const noexcept;

    /// Closes the write end. Call this in the parent after the start of the child.
    void closeWriteEnd() noexcept;

    /// Tells whether the pipe was created and EOF has not been read yet.
    [[nodiscard]] bool isOpen() const noexcept { return readEnd.isOpen(); }

    /// The read end, for poll(); -1 unless the pipe is open.
    [[nodiscard]] int descriptor() const noexcept { return readEnd.get(); }

    /// Calls read(2) once, if data or EOF is available.
    ///
    /// @return false if the pipe cannot be read
    [[nodiscard]] bool read();

    /// Reads the data that is in the pipe at the moment of the call. Returns even if other
    /// processes keep writing to the pipe.
    ///
    /// @return false if the pipe cannot be read
    [[nodiscard]] bool readAvailable();

    /// The bytes that were kept; null if nothing was read.
    [[nodiscard]] const QByteArray &captured() const noexcept { return bytes; }

private:
    /// @return the number of bytes read; 0 at EOF and if no data is available; -1 on error
    [[nodiscard]] int readOnce();

    const int maxBytes;
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
    QByteArray bytes;
};

} // namespace halvex
