// SPDX-License-Identifier: MIT
#include "util/watchdog.h"

#include "util/file_descriptor.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstddef>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace halvex {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

QByteArray takeVariable(const char *name)
{
    QByteArray value = qgetenv(name);
    qunsetenv(name);
    return value;
}

/// Sends @p message to the service manager's socket @p name. A lost message is not repeated: the
/// interval is so short that a single loss does no harm.
void notify(QByteArray name, const QByteArray &message)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (static_cast<std::size_t>(name.size()) >= sizeof address.sun_path) {
        return;
    }
    if (name.startsWith('@')) { // an abstract socket
        name[0] = '\0';
    }
    std::copy(name.cbegin(), name.cend(), address.sun_path);
    const auto length = offsetof(sockaddr_un, sun_path) + static_cast<std::size_t>(name.size());
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sendto(socket.get(), message.constData(), static_cast<std::size_t>(message.size()), 0,
           reinterpret_cast<const sockaddr *>(&address), static_cast<socklen_t>(length));
}

} // namespace

Watchdog::Watchdog(QByteArray name, std::chrono::milliseconds interval)
    : socketName(std::move(name)), shortestPause(std::min(interval, milliseconds(1000)))
{
    sinceKeepAlive.start();
    startTimer(interval);
    QCoreApplication::instance()->installEventFilter(this);
}

bool Watchdog::eventFilter(QObject * /*receiver*/, QEvent * /*event*/)
{
    if (sinceKeepAlive.hasExpired(shortestPause.count())) {
        sendKeepAlive();
    }
    return false;
}

void Watchdog::timerEvent(QTimerEvent * /*event*/)
{
    sendKeepAlive();
}

void Watchdog::setCheck(std::function<bool()> isWell)
{
    check = std::move(isWell);
}

void Watchdog::sendKeepAlive()
{
    if (check && !check()) {
        // The service manager kills the daemon now. Do not begin another call: the kill could
        // truncate a file that the call writes. Repeat the request, because the manager's queue may
        // be full.
        while (true) {
            notify(socketName, "WATCHDOG=trigger");
            std::this_thread::sleep_for(std::chrono::seconds(1));
        }
    }
    notify(socketName, "WATCHDOG=1");
    sinceKeepAlive.start();
}

std::unique_ptr<Watchdog> startWatchdog()
{
    const QByteArray socketName = takeVariable("NOTIFY_SOCKET");
    const microseconds interval(takeVariable("WATCHDOG_USEC").toLongLong());
    const QByteArray pid = takeVariable("WATCHDOG_PID");
    const bool isForUs = pid.isEmpty() || pid == QByteArray::number(getpid());
    if (socketName.isEmpty() || interval.count() <= 0 || !isForUs) {
        return nullptr;
    }
    // A failed check must be reported within seconds, not minutes.
    constexpr microseconds maxIntervalUs(10'000'000);
    const auto half =
        std::chrono::duration_cast<milliseconds>(std::min(interval / 2, maxIntervalUs));
    return std::make_unique<Watchdog>(socketName,
                                      std::clamp(half, milliseconds(1), milliseconds(INT_MAX)));
}

} // namespace halvex
