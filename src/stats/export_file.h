// SPDX-License-Identifier: MIT
//
// The file that the alert logs are exported to. It lies in a directory where every user can plant
// anything under its name, and the daemon is root. So the entry is looked at without being opened.
// Only a regular file that has this name and no other is reused, and all further steps work on the
// open file. Anything else is never opened, emptied, changed or removed.
//
// Everyone may open the export, and can then make each change of it wait without a limit, where no
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

/// How long all changes of the export file may keep the daemon waiting, in total, beyond the time
/// that a disk takes which writes minExportBytesPerMs.
constexpr std::chrono::milliseconds exportPatience(2000);
constexpr std::size_t minExportBytesPerMs = 4UL << 10;

/// Creates the export file, or empties the one that exists, which may belong to any user. Gives it
/// the mode 0666; the umask does not count.
///
/// What is not a regular file, has other names too, has something mounted on it or a lease held on
/// it is left exactly as it is. While the name comes and goes, a few attempts are made. Needs /proc
/// and Linux 5.8, the first to report mount points.
///
/// @return the file, open for appending; nothing open when it could not be prepared
[[nodiscard]] FileDescriptor prepareExportFile(const std::filesystem::path &path);

/// Appends to an export file. Text is gathered and written in large blocks.
///
/// The daemon's patience, which is @p patience in total, is spent on the writes alone. All member
/// functions throw std::filesystem::filesystem_error when a write fails.
class ExportWriter
{
public:
    ExportWriter(const FileDescriptor &file, std::filesystem::path path, const JobControl &control,
                 std::chrono::milliseconds patience);

    /// Appends @p text, at the latest with the next flush().
    void append(std::string_view text);

    /// Has the kernel append up to @p size bytes of @p source from its current position on, which
    /// saves the way through this process. Flushes first.
    ///
    /// @return how many bytes it has copied; 0 when it does not copy between these files, or
    ///         @p source has ended
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
