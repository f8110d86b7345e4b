// SPDX-License-Identifier: MIT
#include "util/expendable_worker.h"

#include "util/left_behind.h"
#include "util/socket_io.h"
#include "util/worker_process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace halvex {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

ExpendableWorker::ExpendableWorker(const char *name) : processName(name)
{
    leftBehind.reserve(maxLeftBehind + 1); // so that giveUp() needs no memory
    makeTemplate();
}

ExpendableWorker::~ExpendableWorker()
{
    giveUp();
    endTemplate();
}

void ExpendableWorker::makeTemplate()
{
    auto [ours, theirs] = makeConnection();
    if (!ours.isOpen()) {
        return;
    }
    const pid_t daemon = getpid();
    templateProcess = fork();
    if (templateProcess == 0) {
        liveAsTemplate(theirs.get(), daemon, processName);
    }
    if (templateProcess > 0) {
        templateChannel = std::move(ours);
    }
}

void ExpendableWorker::endTemplate()
{
    templateChannel = FileDescriptor();
    if (templateProcess > 0) {
        kill(templateProcess, SIGKILL);
        while (waitpid(templateProcess, nullptr, 0) < 0 && errno == EINTR) {
        }
        templateProcess = -1;
    }
}

std::optional<std::string> ExpendableWorker::run(Job job, const std::string &input,
                                                 milliseconds patience)
{
    // If the worker process was killed after the last job, send the job to a new process, but only
    // once.
    const bool isNew = !channel.isOpen();
    bool isSent = start() && send(job, input);
    if (!isSent && !isNew) {
        giveUp();
        isSent = start() && send(job, input);
    }
    if (!isSent) {
        giveUp(); // the next order must not follow a partly sent one
        return std::nullopt;
    }
    try {
        return receive(patience);
    } catch (...) {
        // Memory ran out. The rest of this result must not be read as the next result.
        giveUp();
        throw;
    }
}

bool ExpendableWorker::start()
{
    if (channel.isOpen()) {
        return true;
    }
    if (!knowsEarlier) {
        findLeftBehind(processName, maxLeftBehind, leftBehind);
        knowsEarlier = true;
    }
    forgetExited();
    if (leftBehind.size() >= maxLeftBehind) {
        return false;
    }
    auto [ours, theirs] = makeConnection();
    if (!ours.isOpen()) {
        return false;
    }
    std::optional<FileDescriptor> answer;
    if (sendDescriptor(templateChannel.get(), theirs)) {
        answer = receiveDescriptor(templateChannel.get());
    }
    if (!answer) {
        // The template was killed. Create another one for the next job.
        endTemplate();
        makeTemplate();
    }
    process = answer ? std::move(*answer) : FileDescriptor();
    if (!process.isOpen()) {
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
    if (process.isOpen()) {
        syscall(SYS_pidfd_send_signal, process.get(), SIGKILL, nullptr, 0);
        leftBehind.push_back(std::exchange(process, FileDescriptor()));
    }
    forgetExited();
}

void ExpendableWorker::forgetExited()
{
    const auto hasExited = [](const FileDescriptor &each) {
        pollfd exited{each.get(), POLLIN, 0};
        return poll(&exited, 1, 0) == 1;
    };
    leftBehind.erase(std::remove_if(leftBehind.begin(), leftBehind.end(), hasExited),
                     leftBehind.end());
}

} // namespace halvex
