// SPDX-License-Identifier: MIT
#include "util/left_behind.h"

#include "util/process_descriptor.h"

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

/// The properties by which a worker of this program is recognised.
struct Program
{
    std::string executable;
    fs::path mountNamespace; ///< in another one, such as a container's, a path has another meaning
};

bool operator==(const Program &one, const Program &other)
{
    return one.executable == other.executable && one.mountNamespace == other.mountNamespace;
}

Program programOf(const fs::path &process)
{
    std::error_code error;
    return {executableOf(process), fs::read_symlink(process / "ns/mnt", error)};
}

/// Tells whether the process with the /proc directory @p process runs as root. Any user may run
/// this program.
bool runsAsRoot(const fs::path &process)
{
    return textOf(process / "status").find("\nUid:\t0\t0\t0\t0\n") != std::string::npos;
}

} // namespace

void findLeftBehind(const char *name, std::size_t maxCount, std::vector<FileDescriptor> &found)
{
    const Program ours = programOf("/proc/self");
    if (ours.mountNamespace.empty()) {
        return;
    }
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end;
         !error && entry != end && found.size() < maxCount; entry.increment(error)) {
        const fs::path &process = entry->path();
        // This skips most processes. But any user may give a process this name, so the program and
        // the user are checked below.
        if (!hasName(process, name)) {
            continue;
        }
        // Open the pidfd before the checks. If the process exits meanwhile and a new process gets
        // its id, the pidfd still belongs to the exited process, which is not counted.
        const auto pid = std::strtol(process.filename().c_str(), nullptr, 10);
        FileDescriptor opened = openProcess(static_cast<pid_t>(pid));
        if (opened.isOpen() && hasName(process, name) && programOf(process) == ours &&
            runsAsRoot(process)) {
            found.push_back(std::move(opened));
        }
    }
}

} // namespace halvex
