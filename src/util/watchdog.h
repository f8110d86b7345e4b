// SPDX-License-Identifier: MIT
//
// Lets the service manager notice that the daemon hangs. One thread serves all calls, so a tool
// that never exits blocks all callers. Then only the service manager can help: it restarts the
// daemon.
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>

#include <chrono>
#include <functional>
#include <memory>

namespace halvex {

/// Tells the service manager that the event loop runs. It sends a keep-alive message at every
/// interval. All queued calls are served before a timer fires. So the watchdog also sends a message
/// before an event is delivered, but at most one message a second. The time between two messages is
/// therefore little more than the duration of the longest call.
///
/// If a check is set, it runs before each message. If the check fails, the watchdog asks the
/// service manager to kill the daemon at once.
class Watchdog : public QObject
{
    Q_OBJECT

public:
    /// @param socketName  the service manager's socket; a leading "@" means an abstract socket
    /// @param interval    the time between two messages while there is no event; more than 0
    Watchdog(QByteArray socketName, std::chrono::milliseconds interval);

    /// Makes @p isWell the check that runs before each message. The check runs in the event loop.
    /// While events are delivered, it runs at most once a second.
    void setCheck(std::function<bool()> isWell);

    bool eventFilter(QObject *receiver, QEvent *event) override;

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void sendKeepAlive();

    std::function<bool()> check;
    const QByteArray socketName;
    const std::chrono::milliseconds shortestPause;
    QElapsedTimer sinceKeepAlive;
};

/// Starts the watchdog if the service manager asks for it in the environment (NOTIFY_SOCKET,
/// WATCHDOG_USEC, WATCHDOG_PID). The interval is half of WATCHDOG_USEC, but at most ten seconds.
///
/// Always removes the three variables from the environment, so that no child can send messages in
/// the daemon's name. Never blocks; logs nothing.
///
/// @return the watchdog, which works until it is destroyed; null if the environment asks for none
[[nodiscard]] std::unique_ptr<Watchdog> startWatchdog();

} // namespace halvex
