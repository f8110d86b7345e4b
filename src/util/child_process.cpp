// SPDX-License-Identifier: MIT
#include "util/child_process.h"

#include "util/process_descriptor.h"

#include <QDeadlineTimer>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace halvex {
namespace {

constexpr int setupFailed = 127;   // exit status; a shell uses it if it cannot run a command
constexpr int settleTimeMs = 1000; // time limit of a step that normally ends at once
constexpr int killTimeMs = 5000;

/// Waits for events of @p watched; false on error.
template <std::size_t count>
bool waitFor(std::array<pollfd, count> &watched, qint64 timeoutMs)
{
    if (poll(watched.data(), watched.size(), static_cast<int>(timeoutMs)) < 0) {
        for (pollfd &each : watched) {
            each.revents = 0;
        }
        return errno == EINTR || errno == EAGAIN;
    }
    return true;
}

} // namespace

ChildProcess::ChildProcess()
{
    setStandardOutputFile(nullDevice());
    setStandardErrorFile(nullDevice());
}

ChildProcess::~ChildProcess()
{
    ChildProcess::close();
}

bool ChildProcess::startCapturing(const QString &program, const QStringList &arguments,
                                  OpenMode mode)
{
    if (!output.open() || !errors.open()) {
        return false;
    }
    start(program, arguments, mode);
    output.closeWriteEnd();
    errors.closeWriteEnd();
    return true;
}

bool ChildProcess::waitForExit(int timeoutMs, int jobTimeoutMs)
{
    const QDeadlineTimer timeLimit(timeoutMs);
    if (state() == Starting && !waitForStarted(timeoutMs)) {
        return false;
    }
    return watchForExit() &&
           readUntilExit(static_cast<int>(timeLimit.remainingTime()), jobTimeoutMs) && settle();
}

bool ChildProcess::readUntilExit(int timeoutMs, int jobTimeoutMs)
{
    const QDeadlineTimer timeLimit(timeoutMs);
    const QDeadlineTimer jobTimeLimit(jobTimeoutMs);
    bool runs = exitNotice.isOpen();
    while (runs || ((output.isOpen() || errors.isOpen()) && !jobTimeLimit.hasExpired())) {
        if (runs && timeLimit.hasExpired()) {
            return false;
        }
        std::array<pollfd, 3> watched{{{output.descriptor(), POLLIN, 0},
                                       {errors.descriptor(), POLLIN, 0},
                                       {runs ? exitNotice.get() : -1, POLLIN, 0}}};
        if (!waitFor(watched, runs ? timeLimit.remainingTime() : jobTimeLimit.remainingTime()) ||
            (watched[0].revents != 0 && !output.read()) ||
            (watched[1].revents != 0 && !errors.read())) {
            return false;
        }
        runs = runs && watched[2].revents == 0;
    }
    return output.readAvailable() && errors.readAvailable();
}

bool ChildProcess::watchForExit()
{
    if (state() == NotRunning) {
        return false;
    }
    exitNotice = openProcess(static_cast<pid_t>(processId()));
    return exitNotice.isOpen() || errno == ESRCH; // ESRCH: Qt has reaped it
}

bool ChildProcess::settle()
{
    // Qt reaps its children in a SIGCHLD handler. If a system call of that handler fails, send
    // another SIGCHLD. If the handler fails again, reap the child here.
    if (waitForFinished(settleTimeMs) || state() == NotRunning) {
        return true;
    }
    static_cast<void>(raise(SIGCHLD));
    if (waitForFinished(settleTimeMs)) {
        return true;
    }
    if (exitNotice.isOpen()) {
        siginfo_t info{};
        int result = 0;
        do {
            result = waitid(P_PIDFD, static_cast<id_t>(exitNotice.get()), &info, WEXITED | WNOHANG);
        } while (result != 0 && errno == EINTR);
    }
    setProcessState(NotRunning); // otherwise the destructor of QProcess would wait for the child
    return false;
}

void ChildProcess::close()
{
    if (state() != NotRunning) {
        // The child may not have created its process group yet. So also kill the child alone.
        ::kill(-static_cast<pid_t>(processId()), SIGKILL);
        kill();
        if (watchForExit() && exitNotice.isOpen()) {
            std::array<pollfd, 1> watched{{{exitNotice.get(), POLLIN, 0}}};
            static_cast<void>(waitFor(watched, killTimeMs));
        }
        static_cast<void>(settle());
    }
    QProcess::close();
}

void ChildProcess::setupChildProcess()
{
    if (setpgid(0, 0) != 0 || !output.replace(STDOUT_FILENO) || !errors.replace(STDERR_FILENO)) {
        _exit(setupFailed);
    }
}

} // namespace halvex
