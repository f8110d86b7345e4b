// SPDX-License-Identifier: MIT
#include "util/child_process.h"

#include <csignal>
#include <unistd.h>

namespace halvex {

ChildProcess::~ChildProcess()
{
    ChildProcess::close();
}

void ChildProcess::close()
{
    // As long as the state says that the program runs, it has not been reaped and its id is its
    // own.
    if (state() != NotRunning) {
        ::kill(-static_cast<pid_t>(processId()), SIGKILL);
    }
    QProcess::close();
}

void ChildProcess::setupChildProcess()
{
    setpgid(0, 0);
}

} // namespace halvex
