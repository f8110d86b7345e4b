// SPDX-License-Identifier: MIT
//
// The file to which the alert logs are exported. Any user can create an entry of any kind at its
// path, and the daemon runs as root. So an existing entry is checked before it is opened. Only a
// regular file without any other name is used, and all further steps work on the open file. Any
// other entry is never opened, truncated, changed or removed.
//
// Any user may open the export. That user can then make every change of the file block without a
// limit, and signals do not interrupt the blocked call. So all functions below must run in an
// expendable worker.
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

/// The time limit for all changes of the export file in total. It is extended by the time that a
/// disk with the speed minExportBytesPerMs needs for the data.
constexpr std::chrono::milliseconds exportPatienceMs(2000);
constexpr std::size_t minExportBytesPerMs = 32UL << 10;

/// Creates the export file, or truncates the existing one, which may belong to any user. Gives it
/// the mode 0666, whatever the umask.
///
/// An entry that is not a regular file, has other hard links, is a mount point or has a lease is
/// not changed. If the entry appears and vanishes during the call, a few attempts are made. Needs
/// /proc and Linux 5.8, the first kernel that reports mount points.
///
/// @return the file, open for appending; a closed descriptor if it could not be prepared
[[nodiscard]] FileDescriptor prepareExportFile(const std::filesystem::path &path);

/// Appends to an export file. Text is buffered and written in large blocks.
///
/// The writes may take the time @p patience in total. Reading the logs has no time limit. All
/// member functions throw std::filesystem::filesystem_error if a write fails.
class ExportWriter
{
public:
    ExportWriter(const FileDescriptor &file, std::filesystem::path path, const JobControl &control,
                 std::chrono::milliseconds patience);

    /// Appends @p text. It is written at the next flush() at the latest.
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
    const JobControl &jobControl;
    std::chrono::steady_clock::duration remaining;
    std::string gathered;
};

} // namespace halvex
