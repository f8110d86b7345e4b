// SPDX-License-Identifier: MIT
//
// The file to which the alert logs are exported. It lies in a directory where any user can create
// any entry under its name, and the daemon is root. So the entry is checked without being opened.
// Only a regular file without any other name is reused, and all further steps work on the open
// file. Any other entry is never opened, truncated, changed or removed.
//
// Any user may open the export, and can then make each change of it block without a limit, where no
// signal interrupts it. So all of this must run in an expendable worker.
#pragma once

#include "util/expendable_worker.h"
#include "util/file_descriptor.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace halvex {

/// The time limit of all changes of the export file in total. The time that a disk with the speed
/// minExportBytesPerMs needs is added.
constexpr std::chrono::milliseconds exportPatienceMs(2000);
constexpr std::size_t minExportBytesPerMs = 4UL << 10;

/// Creates the export file, or truncates the existing one, which may belong to any user. Gives it
/// the mode 0666, whatever the umask.
///
/// An entry that is not a regular file, has other hard links, is a mount point or has a lease is
/// not changed. If the entry appears and vanishes meanwhile, a few attempts are made. Needs /proc
/// and Linux 5.8, the first kernel that reports mount points.
///
/// @return the file, open for appending; a closed descriptor if it could not be prepared
[[nodiscard]] FileDescriptor prepareExportFile(const std::filesystem::path &path);

/// Appends to an export file. Text is buffered and written in large blocks.
///
/// Only the writes count against the time limit @p patience, which is their total. All member
/// functions throw std::filesystem::filesystem_error if a write fails.
class ExportWriter
{
public:
    ExportWriter(const FileDescriptor &file, std::filesystem::path path, const JobControl &control,
                 std::chrono::milliseconds patience);

    /// Appends @p text, at the latest at the next flush().
    void append(std::string_view text);

    /// Lets the kernel append up to @p size bytes of @p source from its current position, without a
    /// copy through user space. Flushes first.
    ///
    /// @return the number of copied bytes; 0 if the kernel cannot copy between these files, or at
    ///         the EOF of @p source
    [[nodiscard]] off_t copyWithinKernel(const FileDescriptor &source, off_t size);

    void flush();

private:
    template <typename Write>
    auto withPatience(std::size_t size, Write write);

    const FileDescriptor &output;
    const std::filesystem::path name;
    const JobControl &daemon;
    std::chrono::steady_clock::duration remaining;
    std::string gathered;
};

} // namespace halvex
