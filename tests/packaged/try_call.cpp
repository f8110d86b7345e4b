// SPDX-License-Identifier: MIT
//
// Makes one system call that the daemon's unit denies, and prints its error.
//
//   try-call reboot        an invalid reboot, which the kernel refuses with EINVAL
//   try-call personality   changes the execution domain
//   try-call x32           a call of another architecture
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/personality.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

long tried(const char *name)
{
    if (std::strcmp(name, "reboot") == 0) {
        return syscall(SYS_reboot, 0, 0, 0, nullptr);
    }
    if (std::strcmp(name, "personality") == 0) {
        return personality(ADDR_NO_RANDOMIZE);
    }
#ifdef __x86_64__
    constexpr long x32 = 0x40000000;
    if (std::strcmp(name, "x32") == 0) {
        return syscall(x32 | SYS_getppid);
    }
#endif
    errno = ENOTSUP;
    return -1;
}

} // namespace

int main(int argc, char **argv)
{
    const long result = tried(argc == 2 ? argv[1] : "");
    std::puts(result == -1 ? strerrorname_np(errno) : "no error");
    return 0;
}
