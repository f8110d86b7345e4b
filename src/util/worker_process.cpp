// SPDX-License-Identifier: MIT
#include "util/worker_process.h"

#include "util/process_descriptor.h"
#include "util/socket_io.h"

#include <csignal>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace halvex {
namespace {

/// Sends @p word and @p bytes to the daemon; a no-op if @p socket is negative. Exits the process if
/// the daemon has closed its end.
void tell(int socket, const Word &word, const std::string &bytes = {})
{
    if (socket < 0) {
        return;
    }
    if (!sendAll(socket, &word, sizeof word) || !sendAll(socket, bytes.data(), bytes.size())) {
        _exit(1);
    }
}

void serve(int socket)
{
    Order order{};
    while (receiveAll(socket, &order, sizeof order, std::nullopt)) {
        std::string input(order.inputSize, '\0');
        if (!receiveAll(socket, input.data(), input.size(), std::nullopt)) {
            return;
        }
        const std::string result = order.job(input, JobControl(socket));
        tell(socket, {Word::Kind::Result, result.size()}, result);
    }
}

/// Closes all files but @p kept and standard error. Standard input and output become /dev/null.
///
/// @return the new descriptor of @p kept
int closeAllBut(int kept)
{
    // The daemon's connections and files must not stay open in a process that may hang.
    constexpr int ownSocket = 3;
    const int nothing = open("/dev/null", O_RDWR);
    if (dup2(nothing, STDIN_FILENO) < 0 || dup2(nothing, STDOUT_FILENO) < 0 ||
        (kept != ownSocket && dup2(kept, ownSocket) < 0)) {
        _exit(1);
    }
    closefrom(ownSocket + 1);
    return ownSocket;
}

/// Makes the kernel terminate this process when its parent @p parent exits.
void exitWith(pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(1); // the parent exited before the line above
    }
}

/// The main function of a worker, a child of @p parent.
[[noreturn]] void live(int socket, pid_t parent, const char *name) noexcept
{
    // The name shows an administrator which process hangs. A later daemon finds the process by this
    // name.
    prctl(PR_SET_NAME, name);
    exitWith(parent);
    const int ownSocket = closeAllBut(socket);
    try {
        serve(ownSocket);
    } catch (...) {
        _exit(1); // not abort(): a core file would hold the callers' data
    }
    _exit(0);
}

} // namespace

void JobControl::setPatience(std::optional<std::chrono::milliseconds> limit) const
{
    tell(channel, limit ? Word{Word::Kind::Patience, std::uint64_t(limit->count())}
                        : Word{Word::Kind::NoLimit, 0});
}

void JobControl::setInterimResult(const std::string &result) const
{
    tell(channel, {Word::Kind::InterimResult, result.size()}, result);
}

void liveAsTemplate(int socket, pid_t daemon, const char *workerName) noexcept
{
    prctl(PR_SET_NAME, "halvex-template");
    exitWith(daemon);
    const int ownSocket = closeAllBut(socket);
    // No process waits for the workers; ignoring SIGCHLD keeps them from becoming zombies.
    static_cast<void>(std::signal(SIGCHLD, SIG_IGN));
    const pid_t self = getpid();
    while (true) {
        const std::optional<FileDescriptor> workersEnd = receiveDescriptor(ownSocket);
        if (!workersEnd) {
            _exit(0);
        }
        const pid_t worker = workersEnd->isOpen() ? fork() : -1;
        if (worker == 0) {
            live(workersEnd->get(), self, workerName);
        }
        if (!sendDescriptor(ownSocket, worker > 0 ? openProcess(worker) : FileDescriptor())) {
            _exit(0);
        }
    }
}

} // namespace halvex
