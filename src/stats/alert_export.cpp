// SPDX-License-Identifier: MIT
#include "stats/alert_export.h"

#include "util/status.h"

#include <QByteArray>
#include <QDebug>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace halvex {
namespace {

bool isLog(const fs::directory_entry &entry, const fs::path &extension)
{
    std::error_code unknownType; // for example, for a loop of symbolic links
    return entry.is_regular_file(unknownType) && entry.path().extension() == extension &&
           entry.path().filename() != "alerts.log";
}

struct Log
{
    FileDescriptor file;
    off_t size = 0; ///< in bytes, at the time of the open; the log may grow
};

/// Opens a log for reading. The log may have been replaced since the walk found it, so the open
/// must not block. A link to the export file is refused, because a copy of the file into itself
/// would never end.
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

/// Appends all of @p log in blocks, and a line feed if the last line has none. The result is the
/// same as that of a copy line by line.
void appendLog(const Log &log, ExportWriter &writer)
{
    std::array<char, 128UL * 1024UL> block;
    char last = '\n';
    if (log.size > static_cast<off_t>(block.size())) {
        posix_fadvise(log.file.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
        // Copy all but the last byte, which is checked below. If the log is truncated meanwhile,
        // there is no last byte. Then a line feed is added: one too many does less harm than two
        // logs joined in one line.
        last = writer.copyWithinKernel(log.file, log.size - 1) > 0 ? '\0' : '\n';
    }
    while (true) {
        const ssize_t count = read(log.file.get(), block.data(), block.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        const std::string_view bytes(block.data(), static_cast<std::size_t>(count));
        writer.append(bytes);
        last = bytes.back();
    }
    if (last != '\n') {
        writer.append("\n");
    }
}

// The first character of the job's result. The description of an error may follow.
constexpr char prepared = 'p';
constexpr char notPrepared = 'n';

/// @param paths  the directory, a NUL, and the export file
std::string exportJob(const std::string &paths, const JobControl &control)
{
    const auto start = std::chrono::steady_clock::now();
    const auto border = paths.find('\0');
    const fs::path exportPath = paths.substr(border + 1);
    const FileDescriptor output = prepareExportFile(exportPath);
    if (!output.isOpen()) {
        return {notPrepared};
    }
    const auto spent =
        std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    control.setInterimResult(prepared + ("the export was given up [" + exportPath.string() + ']'));
    ExportWriter writer(output, exportPath, control, exportPatienceMs - spent);
    return prepared + appendAlertLogs(paths.substr(0, border), ".log", output, writer);
}

} // namespace

int generateLogFile(ExpendableWorker &worker, const QString &alertsDirPath,
                    const QString &exportPath)
{
    const QByteArray paths = alertsDirPath.toUtf8() + '\0' + exportPath.toUtf8();
    const auto result = worker.run(exportJob, paths.toStdString(), exportPatienceMs);
    if (!result || result->front() != prepared) {
        return failed;
    }
    if (result->size() > 1) {
        qDebug() << "Filesystem error: " << &(*result)[1];
    }
    return succeeded;
}

std::string appendAlertLogs(const fs::path &alertsDirPath, const fs::path &extension,
                            const FileDescriptor &output, ExportWriter &writer)
{
    struct stat exportStatus = {};
    fstat(output.get(), &exportStatus);
    std::string failure;
    try {
        for (const auto &entry : fs::recursive_directory_iterator(alertsDirPath)) {
            if (!isLog(entry, extension)) {
                continue;
            }
            const Log log = openLog(entry.path(), exportStatus);
            if (log.file.isOpen()) {
                appendLog(log, writer);
            }
        }
    } catch (const fs::filesystem_error &error) {
        failure = error.what();
    }
    try {
        writer.flush(); // writes what was copied before the walk failed
    } catch (const fs::filesystem_error &error) {
        failure = error.what();
    }
    return failure;
}

} // namespace halvex
