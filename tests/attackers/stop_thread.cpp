// SPDX-License-Identifier: MIT
//
// Stops one thread of another process, whose other threads go on.
//
//   stop-thread TID      prints "stopped"; the thread goes on once stop-thread is killed
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
    // Wait for the thread's exit: it would stay a zombie otherwise.
    waitpid(thread, nullptr, __WALL);
}
