// SPDX-License-Identifier: MIT
#include "security/caller_process.h"

#include "security/caller_environment.h"
#include "util/file_descriptor.h"

#include <QFile>
#include <QString>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace halvex {
namespace {

/// Process 1 stands for the host; the daemon's own namespaces do not matter.
constexpr const char *hostPid = "1";

std::string procPath(const std::string &pid, const std::string &entry)
{
    return "/proc/" + pid + '/' + entry;
}

/// Returns the target of the link at @p path; empty if it cannot be read, with errno set.
std::string readLink(const std::string &path)
{
    std::array<char, 4096> target{};
    const ssize_t length = readlink(path.c_str(), target.data(), target.size() - 1);
    return length > 0 ? std::string(target.data(), static_cast<std::size_t>(length))
                      : std::string();
}

/// Reads @p file to its end.
///
/// @return nothing after an error, or if there are more than @p maxBytes
std::optional<std::string> readAll(const FileDescriptor &file, std::size_t maxBytes)
{
    std::string content;
    std::array<char, 64UL << 10> block; // not initialised: only bytes that were read are used
    while (content.size() <= maxBytes) {
        const ssize_t count = read(file.get(), block.data(), block.size());
        if (count == 0) {
            return content;
        }
        if (count < 0 && errno != EINTR) {
            return std::nullopt;
        }
        content.append(block.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return std::nullopt;
}

FileDescriptor openForReading(const std::string &path)
{
    return FileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

// --- the jobs, which run in the worker ---

constexpr char wantedMark = '+';

/// @param input  the process id, then wantedMark if the environment is wanted, else a blank
/// @return the state as one character, six lines of links, and the environment if it is wanted
std::string surroundingsJob(const std::string &input, const JobControl & /*control*/)
{
    const std::string pid = input.substr(0, input.size() - 1);
    std::optional<std::string> environment;
    auto state = EnvironmentState::NotOpened;
    if (const auto file = openForReading(procPath(pid, "environ")); file.isOpen()) {
        environment = readAll(file, maxEnvironmentBytes);
        state = !environment                       ? EnvironmentState::NotRead
                : holdsForbiddenName(*environment) ? EnvironmentState::Forbidden
                                                   : EnvironmentState::Read;
    }
    std::string result(1, static_cast<char>(state));
    for (const std::string &each : {std::string(hostPid), pid}) {
        for (const char *name : comparedNamespaces) {
            result += readLink(procPath(each, std::string("ns/") + name)) + '\n';
        }
    }
    const bool isWanted = input.back() == wantedMark;
    return isWanted ? result + environment.value_or(std::string()) : result;
}

/// Finds out which file @p path leads to.
///
/// The program may be on a user's file system that never answers. Such a file system may also be a
/// lower layer of an overlay. So the file system is not queried: the kernel itself knows the device
/// and the inode number.
///
/// @return nothing on failure, with errno set
std::optional<struct statx> fileAt(const std::string &path)
{
    struct statx file = {};
    if (statx(AT_FDCWD, path.c_str(), AT_STATX_DONT_SYNC, STATX_INO, &file) != 0) {
        return std::nullopt;
    }
    return file;
}

bool isSameFile(const std::string &path, const std::string &otherPath)
{
    const auto file = fileAt(path);
    const auto other = fileAt(otherPath);
    return file && other && file->stx_dev_major == other->stx_dev_major &&
           file->stx_dev_minor == other->stx_dev_minor && file->stx_ino == other->stx_ino;
}

/// @return the path; empty if root may not access the executable, if the process has none any more,
///         or if the path is too long for the kernel; nothing after any other error
std::optional<std::string> executablePathOf(const std::string &pid)
{
    const std::string link = procPath(pid, "exe");
    const std::string path = fileAt(link) ? readLink(link) : std::string();
    // After any other error, such as a lack of memory, the executable may be accessible. So do not
    // use the argument.
    const bool isUnknown =
        path.empty() && errno != EACCES && errno != ENOENT && errno != ENAMETOOLONG;
    return isUnknown ? std::nullopt : std::optional(path);
}

std::string firstArgumentOf(const std::string &pid)
{
    const FileDescriptor file = openForReading(procPath(pid, "cmdline"));
    std::string argument;
    // An argument that is too long for a path is ignored.
    while (argument.size() < PATH_MAX) {
        std::array<char, PATH_MAX> bytes{};
        const ssize_t count = read(file.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return {};
        }
        argument.append(bytes.data(), static_cast<std::size_t>(count));
        const auto end = argument.find('\0');
        if (count == 0 || end != std::string::npos) {
            return argument.substr(0, end);
        }
    }
    return {};
}

std::string canonicalPathOf(const std::string &path)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                               &std::free);
    return resolved ? std::string(resolved.get()) : std::string();
}

/// @return the path of the executable or that in argv[0], a NUL, and the canonical path;
///         empty on failure
std::string programPathJob(const std::string &pid, const JobControl & /*control*/)
{
    const auto executable = executablePathOf(pid);
    if (!executable) {
        return {};
    }
    const std::string path = executable->empty() ? firstArgumentOf(pid) : *executable;
    const std::string canonical = path.empty() ? std::string() : canonicalPathOf(path);
    // The target of the link /proc/PID/exe is only a text. If the program was deleted or renamed,
    // that path may lead to a front end that the caller does not run. For argv[0] there is
    // no file to compare.
    if (canonical.empty() ||
        (!executable->empty() && !isSameFile(canonical, procPath(pid, "exe")))) {
        return {};
    }
    return path + '\0' + canonical;
}

} // namespace

CallerSurroundings readSurroundings(ExpendableWorker &worker, qint32 pid, bool wantsEnvironment)
{
    CallerSurroundings surroundings;
    const std::string input = std::to_string(pid) + (wantsEnvironment ? wantedMark : ' ');
    const auto result = worker.run(surroundingsJob, input, callerReadTimeoutMs);
    if (!result) {
        return surroundings;
    }
    surroundings.state = static_cast<EnvironmentState>(result->front());
    std::size_t position = 1;
    for (NamespaceLinks *links : {&surroundings.host, &surroundings.caller}) {
        for (QByteArray &link : *links) {
            const auto end = result->find('\n', position);
            link = QByteArray(&(*result)[position], static_cast<int>(end - position));
            position = end + 1;
        }
    }
    surroundings.environment =
        QByteArray(&(*result)[position], static_cast<int>(result->size() - position));
    return surroundings;
}

std::optional<QByteArray> readProgramPath(ExpendableWorker &worker, qint32 pid)
{
    const auto result = worker.run(programPathJob, std::to_string(pid), callerReadTimeoutMs);
    if (!result || result->empty()) {
        return std::nullopt;
    }
    const auto length = result->find('\0');
    const QByteArray path(result->data(), static_cast<int>(length));
    if (QFile::encodeName(QFile::decodeName(path)) != path) {
        return std::nullopt;
    }
    return QByteArray::fromStdString(result->substr(length + 1));
}

} // namespace halvex
