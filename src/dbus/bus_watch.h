// SPDX-License-Identifier: MIT
//
// Checks whether the daemon and the bus still read each other's messages in time. Four things can
// prevent this: the connection is lost, the thread that reads the bus hangs, so many messages are
// queued that serving them takes minutes, even after their sender has left the bus, or the bus does
// not read from the daemon, because receivers do not read the daemon's replies. In each of these
// cases, a restarted daemon serves callers sooner.
#pragma once

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace halvex {

/// Pings the bus from time to time by asking for its id. The answer is queued behind all earlier
/// messages, so it arrives as late as a new call would be served.
class BusWatch : public QObject
{
    Q_OBJECT

public:
    /// A call that is being served. If its caller is accepted, the duration of the call is not
    /// counted as time without an answer to the ping.
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
    ///         found no answer, and answerTimeoutMs has passed. The time that was spent in accepted
    ///         calls does not count. But the ping also times out if minChecks ticks after
    ///         answerTimeoutMs found no message in the queue. Always true while a call is being
    ///         served.
    [[nodiscard]] bool check();

private:
    void ping();

    QDBusConnection connection;
    QTimer tick;       ///< wakes the event loop each second while a ping is pending
    int lateTicks = 0; ///< ticks after answerTimeoutMs; each found no message in the queue
    QElapsedTimer sincePing;
    qint64 servedMs = 0; ///< the time since the ping that was spent in accepted calls
    int checks = 0;      ///< the number of checks of the pending ping
    int callDepth = 0;   ///< calls being served; several within a nested event loop
};

} // namespace halvex
