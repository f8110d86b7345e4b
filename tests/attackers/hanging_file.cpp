// SPDX-License-Identifier: MIT
//
// A user's FUSE file system with one file that hangs.
//
//   hanging-file DIRECTORY
//       mounts the file system at DIRECTORY, and serves DIRECTORY/file until this program is
//       killed or its input ends.
//       Reads and closes of the file never return.
//
// Prints "ready", and then "read" or "flush" for each request that starts to hang.
#include "one_file.h"

#include <cstdio>
#include <unistd.h>

namespace {

[[noreturn]] void hang(const char *request)
{
    say(request);
    for (;;) {
        pause();
    }
}

int openFile(const char * /*path*/, fuse_file_info *file)
{
    file->keep_cache = 1; // otherwise the next open would wait for pages that never arrive
    return 0;
}

int readFile(const char * /*path*/, char * /*bytes*/, std::size_t /*size*/, off_t /*offset*/,
             fuse_file_info * /*file*/)
{
    hang("read");
}

int flushFile(const char * /*path*/, fuse_file_info * /*file*/)
{
    hang("flush");
}

int writeFile(const char * /*path*/, const char * /*bytes*/, std::size_t size, off_t /*offset*/,
              fuse_file_info * /*file*/)
{
    return static_cast<int>(size);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fputs("usage: hanging-file DIRECTORY\n", stderr);
        return 2;
    }
    fuse_operations operations{};
    operations.open = openFile;
    operations.read = readFile;
    operations.write = writeFile;
    operations.flush = flushFile;
    return serveFile({"file", 0666, 64 << 20}, operations, argv[1], [] {});
}
