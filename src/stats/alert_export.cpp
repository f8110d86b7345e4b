// SPDX-License-Identifier: MIT
#include "stats/alert_export.h"

#include <QDebug>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace fs = std::filesystem;

namespace halvex {
namespace {

/// Large enough that the number of calls does not show beside the copying itself.
constexpr std::size_t blockSize = 512UL * 1024UL;

constexpr int appending = O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

/// Where the system shows the open @p file: a link to its entry, by which it can be opened again.
fs::path linkTo(const FileDescriptor &file)
{
    return "/proc/self/fd/" + std::to_string(file.get());
}

/// Tells whether @p entry, which was found at @p path, is a regular file without any other name.
///
/// That takes more than the number of its links: a hard link to somebody's file can be removed, and
/// made again, between any two looks at it.
bool isPlainFileNamedOnly(const fs::path &path, const FileDescriptor &entry)
{
    struct stat status = {};
    if (fstat(entry.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1) {
        return false;
    }
    // The one link may be another name if ours was just being removed. Renaming a name to itself
    // does nothing, but only after every such change of the folder has come to its end.
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
    // The name can come and go between the steps. Whoever keeps at that gets no export.
    constexpr int attempts = 10;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        // Opens nothing yet: no pipe's other end, no device notices, and nothing can be waited for.
        const FileDescriptor entry(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (entry.isOpen()) {
            if (!isPlainFileNamedOnly(path, entry)) {
                return {};
            }
            FileDescriptor file(open(linkTo(entry).c_str(), appending));
            if (file.isOpen() && ftruncate(file.get(), 0) == 0) {
                return file;
            }
            if (file.isOpen() || errno != EWOULDBLOCK) {
                return {};
            }
            // Its owner holds a lease on it and could make us wait. Then they keep the file, and
            // lose the name.
            unlink(path.c_str());
        } else if (errno != ENOENT) {
            return {};
        }
        // Where the kernel protects files in such folders, even root can use O_CREAT only where
        // nothing is.
        FileDescriptor created(open(path.c_str(), appending | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
        if (created.isOpen() || errno != EEXIST) {
            return created;
        }
    }
    return {};
}

bool isLog(const fs::directory_entry &entry, const fs::path &extension)
{
    return entry.is_regular_file() && entry.path().extension() == extension &&
           entry.path().filename() != "alerts.log";
}

/// Opens a log for reading. It may have become anything since it was looked at, so opening it must
/// not wait. The export itself, linked into the tree, would be read for as long as it grows.
FileDescriptor openLog(const fs::path &path, const FileDescriptor &output)
{
    FileDescriptor log(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat source = {};
    struct stat target = {};
    if (!log.isOpen() || fstat(log.get(), &source) != 0 || !S_ISREG(source.st_mode) ||
        fstat(output.get(), &target) != 0 ||
        (source.st_dev == target.st_dev && source.st_ino == target.st_ino)) {
        return {};
    }
    posix_fadvise(log.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    return log;
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

/// Appends all of @p log to @p output, in blocks: line by line comes to the same bytes, but for the
/// line feed that a last line may lack. False when a write failed.
bool appendLog(const FileDescriptor &log, const FileDescriptor &output, std::vector<char> &block)
{
    char last = '\n';
    while (true) {
        const ssize_t count = read(log.get(), block.data(), block.size());
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
    std::vector<char> block(blockSize);
    try {
        for (const auto &entry : fs::recursive_directory_iterator(alertsDirPath.toStdString())) {
            if (!isLog(entry, wanted)) {
                continue;
            }
            const FileDescriptor log = openLog(entry.path(), output);
            if (log.isOpen() && !appendLog(log, output, block)) {
                return;
            }
        }
    } catch (const fs::filesystem_error &error) {
        qDebug() << "Filesystem error: " << error.what();
    }
}

} // namespace halvex
