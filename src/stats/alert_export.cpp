// SPDX-License-Identifier: MIT
#include "stats/alert_export.h"

#include <QDebug>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace halvex {
namespace {

/// Without blocking: somebody's lease on the file must not make the daemon wait.
constexpr int appending = O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC;

/// Where the system shows the open @p file: a link to its entry, by which it can be opened again.
fs::path linkTo(const FileDescriptor &file)
{
    return "/proc/self/fd/" + std::to_string(file.get());
}

/// Tells whether @p entry, open by its path alone, is where something is mounted. What lies there
/// has another name elsewhere, which no count of links shows, or is a user's own file system.
///
/// Asks for nothing else and takes what is known, so that no such file system can hold us up.
bool isMountPoint(const FileDescriptor &entry)
{
    struct statx status = {};
    return statx(entry.get(), "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, 0, &status) != 0 ||
           (status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) == 0 ||
           (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

/// Tells whether @p entry, which was found at @p path, is a regular file without any other name.
///
/// That takes more than the number of its links: a hard link to somebody's file can be removed, and
/// made again, between any two looks at it.
bool isPlainFileWithOneName(const fs::path &path, const FileDescriptor &entry)
{
    struct stat status = {};
    if (isMountPoint(entry) || fstat(entry.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_nlink != 1) {
        return false;
    }
    // The one link may be another name if ours was just being removed. Renaming a name to itself
    // does nothing, but only after every such change of the directory has come to its end.
    if (std::rename(path.c_str(), path.c_str()) != 0) {
        return false;
    }
    // Once removed, the entry stays removed, even if the name is linked to the same file again. So
    // one that is still in its place was a link all the time, and hence the one that was counted.
    std::error_code error;
    return fs::read_symlink(linkTo(entry), error) ==
           fs::canonical(path.parent_path(), error) / path.filename();
}

/// Opens the export file for appending, empty. Nothing open when what is there cannot be used.
FileDescriptor openEmpty(const fs::path &path)
{
    // The name can come and go between the two. Whoever keeps at that gets no export.
    constexpr int attempts = 10;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        // Where the kernel protects files in such directories, even root can use O_CREAT only where
        // nothing is.
        FileDescriptor created(open(path.c_str(), appending | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
        if (created.isOpen() || errno != EEXIST) {
            return created;
        }
        // Opens nothing yet: no pipe's other end, no device notices, and nothing can be waited for.
        const FileDescriptor entry(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (!entry.isOpen() && errno == ENOENT) {
            continue;
        }
        if (!entry.isOpen() || !isPlainFileWithOneName(path, entry)) {
            return {};
        }
        // From here on the name no longer matters: this file was nobody's but the export's. One on
        // which somebody holds a lease is not waited for, and cannot be opened.
        FileDescriptor file(open(linkTo(entry).c_str(), appending));
        return file.isOpen() && ftruncate(file.get(), 0) == 0 ? std::move(file) : FileDescriptor();
    }
    return {};
}

bool isLog(const fs::directory_entry &entry, const fs::path &extension)
{
    return entry.is_regular_file() && entry.path().extension() == extension &&
           entry.path().filename() != "alerts.log";
}

struct Log
{
    FileDescriptor file;
    off_t size = 0; ///< bytes when it was opened; it may be growing
};

/// Opens a log for reading. It may have become anything since it was looked at, so opening it must
/// not wait. The export itself, linked into the tree, would be read for as long as it grows.
Log openLog(const fs::path &path, const struct stat &exportStatus)
{
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        (status.st_dev == exportStatus.st_dev && status.st_ino == exportStatus.st_ino)) {
        return {};
    }
    return {std::move(file), status.st_size};
}

bool writeAll(const FileDescriptor &output, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = write(output.get(), bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

/// Has the kernel append all of @p log but for its last byte, which saves the way through this
/// process. Leaves whatever the kernel does not copy by itself.
///
/// @return whether it has copied anything
bool appendWithinKernel(const Log &log, const FileDescriptor &output)
{
    // Should any of the advice and positions fail, the loop in appendLog() copies instead.
    posix_fadvise(log.file.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    // The kernel does not take a file that is open for appending.
    fcntl(output.get(), F_SETFL, appending & ~O_APPEND);
    off_t remaining = log.size - 1;
    ssize_t count = 1;
    while (remaining > 0 && count > 0) {
        lseek(output.get(), 0, SEEK_END);
        count = copy_file_range(log.file.get(), nullptr, output.get(), nullptr,
                                static_cast<std::size_t>(remaining), 0);
        remaining -= std::max<ssize_t>(count, 0);
    }
    fcntl(output.get(), F_SETFL, appending);
    return remaining < log.size - 1;
}

/// Appends all of @p log to @p output as one piece: line by line comes to the same bytes, but for
/// the line feed that a last line may lack. False when a write failed.
bool appendLog(const Log &log, const FileDescriptor &output)
{
    std::array<char, 128UL * 1024UL> block;
    char last = '\n';
    if (log.size > static_cast<off_t>(block.size()) && appendWithinKernel(log, output)) {
        // A log that is cut short meanwhile rather gains a line feed than joins the next one.
        last = '\0';
    }
    while (true) {
        const ssize_t count = read(log.file.get(), block.data(), block.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return last == '\n' || writeAll(output, "\n");
        }
        const std::string_view bytes(block.data(), static_cast<std::size_t>(count));
        if (!writeAll(output, bytes)) {
            return false;
        }
        last = bytes.back();
    }
}

} // namespace

int generateLogFile(const QString &alertsDirPath, const QString &exportPath)
{
    const FileDescriptor output = prepareExportFile(exportPath.toUtf8());
    if (!output.isOpen()) {
        return -1;
    }
    appendAlertLogs(alertsDirPath.toUtf8(), ".log", output);
    return 0;
}

FileDescriptor prepareExportFile(const QByteArray &exportPath)
{
    constexpr mode_t everyone = 0666;
    FileDescriptor file = openEmpty(exportPath.toStdString());
    if (!file.isOpen() || fchmod(file.get(), everyone) != 0) {
        return {};
    }
    return file;
}

void appendAlertLogs(const QByteArray &alertsDirPath, const QByteArray &extension,
                     const FileDescriptor &output)
{
    const fs::path wanted = extension.toStdString();
    struct stat exportStatus = {};
    fstat(output.get(), &exportStatus);
    try {
        for (const auto &entry : fs::recursive_directory_iterator(alertsDirPath.toStdString())) {
            if (!isLog(entry, wanted)) {
                continue;
            }
            const Log log = openLog(entry.path(), exportStatus);
            if (log.file.isOpen() && !appendLog(log, output)) {
                return;
            }
        }
    } catch (const fs::filesystem_error &error) {
        qDebug() << "Filesystem error: " << error.what();
    }
}

} // namespace halvex
