// SPDX-License-Identifier: MIT
#include "stats/export_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace halvex {
namespace {

constexpr std::size_t blockSize = 1UL << 20;

/// O_NONBLOCK: the open must not wait for a user's lease on the file.
constexpr int appendFlags = O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC;

/// Returns the /proc link of the open @p file, by which the file can be opened again.
fs::path procFdPath(const FileDescriptor &file)
{
    return "/proc/self/fd/" + std::to_string(file.get());
}

/// Tells whether @p entry, opened with O_PATH, is a mount point. A file that is mounted there
/// either has another path, which the link count does not show, or is on a user's own file system.
///
/// Requests no other attribute and accepts cached values, so that a user's file system cannot make
/// the call block.
bool isMountPoint(const FileDescriptor &entry)
{
    struct statx status = {};
    return statx(entry.get(), "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, 0, &status) != 0 ||
           (status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) == 0 ||
           (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

/// Tells whether @p entry, which was found at @p path, is a regular file without any other name.
///
/// The link count alone is not enough: a user can create a hard link to another user's file, remove
/// it before the links are counted, and create it again afterwards.
bool isPlainFileWithOneName(const fs::path &path, const FileDescriptor &entry)
{
    struct stat status = {};
    if (isMountPoint(entry) || fstat(entry.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_nlink != 1) {
        return false;
    }
    // Another process may be removing @p path at this moment. Then the one link counted above may
    // be another name of the file. A self-rename is a no-op, but it takes the directory's lock, so
    // it waits for concurrent link and unlink calls.
    if (std::rename(path.c_str(), path.c_str()) != 0) {
        return false;
    }
    // If /proc still shows this path, it was never removed, so it is the one link counted above.
    // After an unlink, /proc shows "(deleted)", even if the name is linked again.
    std::error_code error;
    return fs::read_symlink(procFdPath(entry), error) ==
           fs::canonical(path.parent_path(), error) / path.filename();
}

/// Opens the export file for appending and truncates it. Returns a closed descriptor if the entry
/// at @p path cannot be used.
FileDescriptor openTruncated(const fs::path &path)
{
    // The name may appear and vanish between the two calls; give up after ten attempts.
    constexpr int attempts = 10;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        // O_EXCL: with fs.protected_regular even root may not use O_CREAT on an existing file here.
        FileDescriptor created(
            open(path.c_str(), appendFlags | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
        if (created.isOpen() || errno != EEXIST) {
            return created;
        }
        // O_PATH does not open the file: it cannot block, and no FIFO peer or device driver
        // notices.
        const FileDescriptor entry(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (!entry.isOpen() && errno == ENOENT) {
            continue;
        }
        if (!entry.isOpen() || !isPlainFileWithOneName(path, entry)) {
            return {};
        }
        // The file has no other name, and it is opened through /proc, so later changes of the path
        // do not matter. If the file has a lease, a non-blocking open() fails.
        FileDescriptor file(open(procFdPath(entry).c_str(), appendFlags));
        return file.isOpen() && ftruncate(file.get(), 0) == 0 ? std::move(file) : FileDescriptor();
    }
    return {};
}

[[noreturn]] void throwWriteError(const fs::path &path)
{
    throw fs::filesystem_error("cannot write", path,
                               std::error_code(errno, std::generic_category()));
}

} // namespace

FileDescriptor prepareExportFile(const fs::path &path)
{
    constexpr mode_t everyone = 0666;
    FileDescriptor file = openTruncated(path);
    if (!file.isOpen() || fchmod(file.get(), everyone) != 0) {
        return {};
    }
    return file;
}

ExportWriter::ExportWriter(const FileDescriptor &file, fs::path path, const JobControl &control,
                           std::chrono::milliseconds patience)
    : output(file), name(std::move(path)), jobControl(control), remaining(patience)
{
    gathered.reserve(blockSize);
    jobControl.setPatience(std::nullopt); // reading the logs has no time limit
}

template <typename Write>
auto ExportWriter::withPatience(std::size_t size, Write write)
{
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    const auto slowDiskTime = [](std::size_t bytes) {
        return milliseconds(bytes / minExportBytesPerMs);
    };
    jobControl.setPatience(std::chrono::ceil<milliseconds>(remaining + slowDiskTime(size)));
    const auto start = steady_clock::now();
    const auto written = write();
    const int error = errno;
    const steady_clock::duration excess =
        steady_clock::now() - start - slowDiskTime(std::size_t(std::max<ssize_t>(written, 0)));
    remaining -= std::max(excess, steady_clock::duration::zero());
    jobControl.setPatience(std::nullopt);
    errno = error;
    return written;
}

void ExportWriter::append(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t count = std::min(text.size(), blockSize - gathered.size());
        gathered += text.substr(0, count);
        text.remove_prefix(count);
        if (gathered.size() == blockSize) {
            flush();
        }
    }
}

off_t ExportWriter::copyWithinKernel(const FileDescriptor &source, off_t size)
{
    flush();
    // The kernel does not copy to a file that is open with O_APPEND. If clearing this flag fails,
    // nothing is copied.
    fcntl(output.get(), F_SETFL, appendFlags & ~O_APPEND);
    off_t copied = 0;
    ssize_t count = 1;
    while (copied < size && count > 0) {
        constexpr off_t maxAtOnce = 8L << 20;
        const auto atOnce = static_cast<std::size_t>(std::min(size - copied, maxAtOnce));
        count = withPatience(atOnce, [&] {
            lseek(output.get(), 0, SEEK_END);
            return copy_file_range(source.get(), nullptr, output.get(), nullptr, atOnce, 0);
        });
        copied += std::max<ssize_t>(count, 0);
    }
    fcntl(output.get(), F_SETFL, appendFlags);
    return copied;
}

void ExportWriter::flush()
{
    std::string_view bytes = gathered;
    while (!bytes.empty()) {
        const ssize_t written = withPatience(
            bytes.size(), [&] { return write(output.get(), bytes.data(), bytes.size()); });
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            throwWriteError(name);
        }
    }
    gathered.clear();
}

} // namespace halvex
