// SPDX-License-Identifier: MIT
#include "util/expendable_worker.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace halvex {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Deadline = std::optional<steady_clock::time_point>;

/// Precedes each input. The worker is a copy of the daemon, so a function has the same address in
/// both.
struct Order
{
    Job job;
    std::uint64_t inputSize;
};

/// Precedes each result, and sets each limit.
struct Word
{
    enum class Kind : std::uint64_t { Result, InterimResult, Patience, NoLimit } kind;
    std::uint64_t value; ///< the size of the result in bytes, or the limit in milliseconds
};

/// Tells whether @p error means that the same call may succeed.
bool isTransient(int error)
{
    return error == EINTR || error == EAGAIN;
}

bool sendAll(int socket, const void *bytes, std::size_t size)
{
    const char *next = static_cast<const char *>(bytes);
    while (size > 0) {
        const ssize_t count = ::send(socket, next, size, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        next += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

/// Waits until @p socket can be read, or @p deadline has passed.
bool isReadableBefore(const Deadline &deadline, int socket)
{
    pollfd ready{socket, POLLIN, 0};
    while (true) {
        int timeoutMs = -1;
        if (deadline) {
            const auto remaining =
                std::chrono::ceil<milliseconds>(*deadline - steady_clock::now()).count();
            timeoutMs = static_cast<int>(std::clamp<decltype(remaining)>(remaining, 0, INT_MAX));
        }
        const int count = poll(&ready, 1, timeoutMs);
        if (count >= 0 || !isTransient(errno)) {
            return count > 0;
        }
    }
}

bool receiveAll(int socket, void *bytes, std::size_t size, const Deadline &deadline)
{
    char *next = static_cast<char *>(bytes);
    while (size > 0) {
        if (!isReadableBefore(deadline, socket)) {
            return false;
        }
        const ssize_t count = recv(socket, next, size, MSG_DONTWAIT);
        if (count < 0 && isTransient(errno)) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        next += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

/// Sends @p word and @p bytes to the daemon, if there is one. Ends the process when it does not
/// wait any more.
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

/// The whole life of the child process.
[[noreturn]] void live(int socket, pid_t daemon) noexcept
{
    // A name of its own tells an administrator what hangs.
    prctl(PR_SET_NAME, "halvex-worker");
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != daemon) {
        _exit(1); // it has exited before the line above
    }
    // The daemon's connections and files must not stay open in a process that may hang.
    constexpr int ownSocket = 3;
    const int nothing = open("/dev/null", O_RDWR);
    if (dup2(nothing, STDIN_FILENO) < 0 || dup2(nothing, STDOUT_FILENO) < 0 ||
        (socket != ownSocket && dup2(socket, ownSocket) < 0)) {
        _exit(1);
    }
    closefrom(ownSocket + 1);
    try {
        serve(ownSocket);
    } catch (...) {
        _exit(1); // without a core file, which would hold what callers have sent
    }
    _exit(0);
}

} // namespace

void JobControl::setPatience(std::optional<milliseconds> limit) const
{
    tell(channel, limit ? Word{Word::Kind::Patience, std::uint64_t(limit->count())}
                        : Word{Word::Kind::NoLimit, 0});
}

void JobControl::setInterimResult(const std::string &result) const
{
    tell(channel, {Word::Kind::InterimResult, result.size()}, result);
}

ExpendableWorker::ExpendableWorker()
{
    leftBehind.reserve(maxLeftBehind + 1); // giving up must not fail
}

ExpendableWorker::~ExpendableWorker()
{
    giveUp();
}

std::optional<std::string> ExpendableWorker::run(Job job, const std::string &input,
                                                 milliseconds patience)
{
    // A process that somebody has killed since the last job is replaced, once.
    const bool isNew = !channel.isOpen();
    bool isSent = start() && send(job, input);
    if (!isSent && !isNew) {
        giveUp();
        isSent = start() && send(job, input);
    }
    if (!isSent) {
        giveUp(); // what has been sent of the order must not precede the next one
        return std::nullopt;
    }
    try {
        return receive(patience);
    } catch (...) {
        // There is no memory for the result. What is left of it must not pass for the next one.
        giveUp();
        throw;
    }
}

bool ExpendableWorker::start()
{
    if (channel.isOpen()) {
        return true;
    }
    reap();
    if (leftBehind.size() >= maxLeftBehind) {
        return false;
    }
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return false;
    }
    FileDescriptor ours(ends[0]);
    const FileDescriptor theirs(ends[1]);
    const pid_t daemon = getpid();
    process = fork();
    if (process == 0) {
        live(theirs.get(), daemon);
    }
    if (process < 0) {
        return false;
    }
    channel = std::move(ours);
    return true;
}

bool ExpendableWorker::send(Job job, const std::string &input)
{
    const Order order{job, input.size()};
    return sendAll(channel.get(), &order, sizeof order) &&
           sendAll(channel.get(), input.data(), input.size());
}

std::optional<std::string> ExpendableWorker::receive(milliseconds patience)
{
    Deadline deadline = steady_clock::now() + patience;
    std::optional<std::string> interim;
    Word word{};
    while (receiveAll(channel.get(), &word, sizeof word, deadline)) {
        if (word.kind == Word::Kind::Patience) {
            deadline = steady_clock::now() + milliseconds(word.value);
        } else if (word.kind == Word::Kind::NoLimit) {
            deadline.reset();
        } else {
            std::string result(word.value, '\0');
            if (!receiveAll(channel.get(), result.data(), result.size(), deadline)) {
                break;
            }
            if (word.kind == Word::Kind::Result) {
                return result;
            }
            interim = std::move(result);
        }
    }
    giveUp();
    return interim;
}

void ExpendableWorker::giveUp()
{
    channel = FileDescriptor();
    if (process > 0) {
        kill(process, SIGKILL);
        leftBehind.push_back(std::exchange(process, -1));
    }
    reap();
}

void ExpendableWorker::reap()
{
    const auto isGone = [](pid_t each) {
        const pid_t reaped = waitpid(each, nullptr, WNOHANG);
        return reaped == each || (reaped < 0 && errno == ECHILD);
    };
    leftBehind.erase(std::remove_if(leftBehind.begin(), leftBehind.end(), isGone),
                     leftBehind.end());
}

} // namespace halvex
