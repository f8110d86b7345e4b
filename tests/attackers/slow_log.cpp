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
#define FUSE_USE_VERSION 31
#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <fuse.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr off_t fileBytes = 4L << 20;
constexpr off_t bytesAtOnce = fileBytes / 2;
const std::string line = "alert!!\n";

std::mutex mutex;
std::condition_variable changed;
bool isWhole = false;

void say(const char *word)
{
    std::puts(word);
    std::fflush(stdout);
}

bool isFile(const char *path)
{
    return std::string(path) == "/slow.log";
}

int getAttributes(const char *path, struct stat *status, fuse_file_info * /*file*/)
{
    *status = {};
    if (std::string(path) == "/") {
        status->st_mode = S_IFDIR | 0755U;
        status->st_nlink = 2;
        return 0;
    }
    if (!isFile(path)) {
        return -ENOENT;
    }
    status->st_mode = S_IFREG | 0644U;
    status->st_nlink = 1;
    status->st_size = fileBytes;
    return 0;
}

int readDirectory(const char * /*path*/, void *entries, fuse_fill_dir_t add, off_t /*offset*/,
                  fuse_file_info * /*directory*/, fuse_readdir_flags /*flags*/)
{
    add(entries, "slow.log", nullptr, 0, fuse_fill_dir_flags(0));
    return 0;
}

int openFile(const char *path, fuse_file_info *file)
{
    file->direct_io = 1; // otherwise the kernel would read ahead
    return isFile(path) ? 0 : -ENOENT;
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

/// Makes the second half readable at a line of input. Exits when the input ends, which also ends
/// every request.
void obeyInput()
{
    std::array<char, 64> bytes{};
    while (read(STDIN_FILENO, bytes.data(), bytes.size()) > 0) {
        const std::lock_guard lock(mutex);
        isWhole = true;
        changed.notify_all();
    }
    _exit(0);
}

void *started(fuse_conn_info * /*connection*/, fuse_config * /*configuration*/)
{
    std::thread(obeyInput).detach();
    say("ready");
    return nullptr;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fputs("usage: slow-log DIRECTORY\n", stderr);
        return 2;
    }
    fuse_operations operations{};
    operations.getattr = getAttributes;
    operations.readdir = readDirectory;
    operations.open = openFile;
    operations.read = readFile;
    operations.init = started;
    std::string inForeground = "-f";
    std::array<char *, 3> arguments{argv[0], inForeground.data(), argv[1]};
    return fuse_main(static_cast<int>(arguments.size()), arguments.data(), &operations, nullptr);
}
