// SPDX-License-Identifier: MIT
//
// Checks whether the daemon still receives messages from the bus in time. Its connection may be
// lost, the thread that reads it may hang, or a flood of messages may be queued that takes minutes
// to serve, long after its sender has gone. In each case a restarted daemon serves sooner.
#pragma once

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace halvex {

/// Pings the bus from time to time by asking for its id. The answer is queued behind all earlier
/// messages, so it takes as long as a new call would have to wait.
class BusWatch : public QObject
{
    Q_OBJECT

public:
    /// A call that is being served. Its time does not count as waiting if its caller is accepted.
    class Call
    {
    public:
        explicit Call(BusWatch &busWatch) noexcept;
        Call(const Call &) = delete;
        Call &operator=(const Call &) = delete;
        ~Call();

        /// Records that the gate has accepted the caller.
        void letIn() noexcept { isLetIn = true; }

    private:
        BusWatch &watch;
        QElapsedTimer duration;
        bool isLetIn = false;
    };

    explicit BusWatch(QDBusConnection bus);

    /// Sends a ping if none is pending, else checks the pending one. Does not wait.
    ///
    /// @return false if the connection is lost, or if the ping timed out: at least minChecks checks
    ///         found no answer, and answerTimeoutMs has passed without the time of accepted calls.
    ///         Always true while a call is being served.
    [[nodiscard]] bool hearsTheBus();

private:
    void ping();

    QDBusConnection connection;
    QTimer tick; ///< wakes the event loop each second while a ping is pending
    QElapsedTimer sincePing;
    qint64 servedMs = 0; ///< the part of that time in which accepted calls were served
    int checks = 0;      ///< the number of checks of the pending ping
    int callDepth = 0;   ///< calls being served; several within a nested event loop
};

} // namespace halvex
