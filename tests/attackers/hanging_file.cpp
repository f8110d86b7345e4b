// SPDX-License-Identifier: MIT
//
// A user's FUSE file system with one file that hangs.
//
//   hanging-file DIRECTORY [PID]
//       mounts the file system at DIRECTORY, and serves DIRECTORY/file until this program is
//       killed or its input ends.
//       Reads of the file never return. Closes never return either; if PID is given, this holds
//       only for closes by that process.
//
// Prints "ready", and then "read" or "flush" for each request that starts to hang.
#define FUSE_USE_VERSION 31
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fuse.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr off_t fileBytes = 64 << 20;
pid_t pidThatHangs = 0;

void say(const char *word)
{
    std::puts(word);
    std::fflush(stdout);
}

[[noreturn]] void hang(const char *request)
{
    say(request);
    for (;;) {
        pause();
    }
}

bool isFile(const char *path)
{
    return std::string(path) == "/file";
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
    status->st_mode = S_IFREG | 0666U;
    status->st_nlink = 1;
    status->st_size = fileBytes;
    return 0;
}

int openFile(const char *path, fuse_file_info *file)
{
    file->keep_cache = 1; // otherwise the next open would wait for pages that never arrive
    return isFile(path) ? 0 : -ENOENT;
}

int readFile(const char * /*path*/, char * /*bytes*/, std::size_t /*size*/, off_t /*offset*/,
             fuse_file_info * /*file*/)
{
    hang("read");
}

int flushFile(const char * /*path*/, fuse_file_info * /*file*/)
{
    if (pidThatHangs != 0 && fuse_get_context()->pid != pidThatHangs) {
        return 0;
    }
    hang("flush");
}

int writeFile(const char * /*path*/, const char * /*bytes*/, std::size_t size, off_t /*offset*/,
              fuse_file_info * /*file*/)
{
    return static_cast<int>(size);
}

/// Exits when the input ends, so that no request hangs after the test has ended: the exit also
/// ends every request.
void endWithInput()
{
    std::array<char, 64> bytes{};
    while (read(STDIN_FILENO, bytes.data(), bytes.size()) > 0) {
    }
    _exit(0);
}

void *started(fuse_conn_info * /*connection*/, fuse_config * /*configuration*/)
{
    std::thread(endWithInput).detach();
    say("ready");
    return nullptr;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fputs("usage: hanging-file DIRECTORY [PID]\n", stderr);
        return 2;
    }
    pidThatHangs = argc > 2 ? std::atoi(argv[2]) : 0;
    fuse_operations operations{};
    operations.getattr = getAttributes;
    operations.open = openFile;
    operations.read = readFile;
    operations.write = writeFile;
    operations.flush = flushFile;
    operations.init = started;
    std::string inForeground = "-f";
    std::array<char *, 3> arguments{argv[0], inForeground.data(), argv[1]};
    return fuse_main(static_cast<int>(arguments.size()), arguments.data(), &operations, nullptr);
}
