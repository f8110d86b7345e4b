// SPDX-License-Identifier: MIT
//
// A file system with one log, whose second half can be read only later.
//
//   slow-log DIRECTORY
//       mounts the file system at DIRECTORY, and serves DIRECTORY/slow.log, 4 MiB of lines
//       "alert!!", until this program is killed or its input ends. Reads of the second half wait
//       for a line of input.
//
// Prints "ready", and "waiting" for each read that waits.
#include "one_file.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace {

const char *const logName = "slow.log";
constexpr off_t fileBytes = 4L << 20;
constexpr off_t bytesAtOnce = fileBytes / 2;
const std::string line = "alert!!\n";

std::mutex mutex;
std::condition_variable changed;
bool isWhole = false;

int readDirectory(const char * /*path*/, void *entries, fuse_fill_dir_t add, off_t /*offset*/,
                  fuse_file_info * /*directory*/, fuse_readdir_flags /*flags*/)
{
    add(entries, logName, nullptr, 0, fuse_fill_dir_flags(0));
    return 0;
}

int openFile(const char * /*path*/, fuse_file_info *file)
{
    file->direct_io = 1; // otherwise the kernel would read ahead
    return 0;
}

int readFile(const char * /*path*/, char *bytes, std::size_t size, off_t offset,
             fuse_file_info * /*file*/)
{
    if (offset >= bytesAtOnce) {
        std::unique_lock lock(mutex);
        if (!isWhole) {
            say("waiting");
            changed.wait(lock, [] { return isWhole; });
        }
    }
    const off_t end = offset < bytesAtOnce ? bytesAtOnce : fileBytes;
    const off_t count = std::clamp<off_t>(end - offset, 0, static_cast<off_t>(size));
    for (off_t i = 0; i < count; ++i) {
        bytes[i] = line[static_cast<std::size_t>(offset + i) % line.size()];
    }
    return static_cast<int>(count);
}

void completeFile()
{
    const std::lock_guard lock(mutex);
    isWhole = true;
    changed.notify_all();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fputs("usage: slow-log DIRECTORY\n", stderr);
        return 2;
    }
    fuse_operations operations{};
    operations.readdir = readDirectory;
    operations.open = openFile;
    operations.read = readFile;
    return serveFile({logName, 0644, fileBytes}, operations, argv[1], completeFile);
}
