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

/// Returns the executable of the process with the directory @p process. After a package upgrade the
/// executable of the earlier daemon is deleted; its path is still found.
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

/// Tells whether the process with the directory @p process is in the mount namespace of this one.
/// In another namespace, such as a container's, the path of an executable means nothing.
bool sharesMounts(const fs::path &process)
{
    std::error_code error;
    const fs::path ours = fs::read_symlink("/proc/self/ns/mnt", error);
    return !ours.empty() && fs::read_symlink(process / "ns/mnt", error) == ours;
}

/// Any user may run a program with that process name, and any user may run this program.
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
        // Open the pidfd first: what is read then is about the same process, even if it has exited.
        const auto pid = std::strtol(process.filename().c_str(), nullptr, 10);
        FileDescriptor opened = openProcess(static_cast<pid_t>(pid));
        if (opened.isOpen() && hasName(process, name) && isOurs(process)) {
            found.push_back(std::move(opened));
        }
    }
}

} // namespace halvex
