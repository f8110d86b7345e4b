// SPDX-License-Identifier: MIT
//
// Stops one thread of another process, which goes on otherwise.
//
//   stop-thread TID      prints "stopped", and lets the thread go when it is killed itself
#include <cstdio>
#include <cstdlib>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int argc, char **argv)
{
    const pid_t thread = argc == 2 ? std::atoi(argv[1]) : 0;
    if (thread <= 0 || ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) != 0 ||
        ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0 ||
        waitpid(thread, nullptr, __WALL) != thread) {
        std::perror("stop-thread");
        return 2;
    }
    std::puts("stopped");
    std::fflush(stdout);
    // Its end is waited for, or it would stay a zombie.
    waitpid(thread, nullptr, __WALL);
}
