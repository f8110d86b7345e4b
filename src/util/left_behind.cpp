// SPDX-License-Identifier: MIT
#include "util/left_behind.h"

#include "util/worker_process.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace halvex {
namespace {

namespace fs = std::filesystem;

std::string textOf(const fs::path &file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Returns the path of the executable of the process with the /proc directory @p process. After a
/// package upgrade, the executable of the earlier daemon is a deleted file; the path that it had is
/// returned.
std::string executableOf(const fs::path &process)
{
    const std::string removed = " (deleted)";
    std::error_code error;
    std::string path = fs::read_symlink(process / "exe", error).string();
    if (path.size() > removed.size() &&
        path.compare(path.size() - removed.size(), removed.size(), removed) == 0) {
        path.resize(path.size() - removed.size());
    }
    return path;
}

bool hasName(const fs::path &process, const std::string &name)
{
    return textOf(process / "comm") == name + '\n';
}

/// Tells whether the process with the /proc directory @p process is in the mount namespace of this
/// process. In another namespace, such as a container's, the same path may lead to another file.
bool sharesMounts(const fs::path &process)
{
    std::error_code error;
    const fs::path ours = fs::read_symlink("/proc/self/ns/mnt", error);
    return !ours.empty() && fs::read_symlink(process / "ns/mnt", error) == ours;
}

/// Tells whether a process with the name of a worker is a worker of an earlier daemon. The name
/// alone is not enough, because any user may run a program with that name. Any user may also run
/// this program, so the process must also run as root.
bool isOurs(const fs::path &process)
{
    return executableOf(process) == executableOf("/proc/self") && sharesMounts(process) &&
           textOf(process / "status").find("\nUid:\t0\t0\t0\t0\n") != std::string::npos;
}

} // namespace

void findLeftBehind(const char *name, std::size_t maxCount, std::vector<FileDescriptor> &found)
{
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        const fs::path &process = entry->path();
        if (found.size() >= maxCount || !hasName(process, name)) {
            continue;
        }
        // Open the pidfd before the checks. If the process exits meanwhile and a new process gets
        // its id, the pidfd still belongs to the exited process, which is not counted.
        const auto pid = std::strtol(process.filename().c_str(), nullptr, 10);
        FileDescriptor opened = openProcess(static_cast<pid_t>(pid));
        if (opened.isOpen() && hasName(process, name) && isOurs(process)) {
            found.push_back(std::move(opened));
        }
    }
}

} // namespace halvex
