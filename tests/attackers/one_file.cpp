// SPDX-License-Identifier: MIT
#include "one_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

OneFile served;
void (*whenInputArrives)() = nullptr;

int getAttributes(const char *path, struct stat *status, fuse_file_info * /*file*/)
{
    *status = {};
    if (std::string(path) == "/") {
        status->st_mode = S_IFDIR | 0755U;
        status->st_nlink = 2;
        return 0;
    }
    if (path != '/' + served.name) {
        return -ENOENT;
    }
    status->st_mode = S_IFREG | served.permissions;
    status->st_nlink = 1;
    status->st_size = served.bytes;
    return 0;
}

void readInput()
{
    std::array<char, 64> bytes{};
    while (read(STDIN_FILENO, bytes.data(), bytes.size()) > 0) {
        whenInputArrives();
    }
    _exit(0);
}

void *started(fuse_conn_info * /*connection*/, fuse_config * /*configuration*/)
{
    std::thread(readInput).detach();
    say("ready");
    return nullptr;
}

} // namespace

void say(const char *word)
{
    std::puts(word);
    std::fflush(stdout);
}

int serveFile(const OneFile &file, fuse_operations operations, const char *directory,
              void (*onInput)())
{
    served = file;
    whenInputArrives = onInput;
    operations.getattr = getAttributes;
    operations.init = started;
    std::string program = "one-file";
    std::string inForeground = "-f";
    std::string place = directory;
    std::array<char *, 3> arguments{program.data(), inForeground.data(), place.data()};
    return fuse_main(static_cast<int>(arguments.size()), arguments.data(), &operations, nullptr);
}
