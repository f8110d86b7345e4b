// SPDX-License-Identifier: MIT
//
// Lets the service manager find out that the daemon is stuck. One thread does everything here, so a
// tool that never ends holds up everybody; only from outside can that be ended.
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>

#include <chrono>
#include <functional>
#include <memory>

namespace halvex {

/// Tells the service manager that the event loop turns: at every interval when nothing happens, and
/// whenever an event is delivered, for queued calls are served one after the other, before any
/// timer. So the time between two signs of life is that of the longest call, or little more.
///
/// Each sign is preceded by the check, if one is set. When the check fails, the watchdog asks the
/// service manager to end the daemon at once.
class Watchdog : public QObject
{
    Q_OBJECT

public:
    /// @param socketName  where the service manager listens; "@" begins a name that is no path
    /// @param interval    between two signs of life while nothing else happens; more than 0
    Watchdog(QByteArray socketName, std::chrono::milliseconds interval);

    /// Makes @p isWell the condition of each sign of life. It is called in the event loop, at most
    /// once a second while events are delivered.
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
/// WATCHDOG_USEC, WATCHDOG_PID), with half the interval that it gives, and every ten
/// seconds at least.
///
/// Takes the three variables out of the environment in any case, so that no child speaks in the
/// daemon's name. Never blocks; logs nothing.
///
/// @return the watchdog, which works for as long as it lives; null when none is asked for
[[nodiscard]] std::unique_ptr<Watchdog> startWatchdog();

} // namespace halvex
