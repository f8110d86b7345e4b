// SPDX-License-Identifier: MIT
//
// Does the daemon still hear the bus? Its connection may be lost, the thread that reads it may
// hang, or a flood of messages may have piled up that takes minutes to serve, long after its sender
// has gone. In each case a new daemon serves sooner than this one.
#pragma once

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace halvex {

/// Asks the bus for its id from time to time, which is a ping. The answer is delivered behind all
/// messages that have come before it, so it takes as long as a call that comes now would have to
/// wait.
class BusWatch : public QObject
{
    Q_OBJECT

public:
    /// A call that is being served. Its time does not count as waiting if its caller was let in.
    class Call
    {
    public:
        explicit Call(BusWatch &busWatch) noexcept;
        Call(const Call &) = delete;
        Call &operator=(const Call &) = delete;
        ~Call();

        /// Notes that the gate has let the caller in.
        void letIn() noexcept { isLetIn = true; }

    private:
        BusWatch &watch;
        QElapsedTimer duration;
        bool isLetIn = false;
    };

    explicit BusWatch(QDBusConnection bus);

    /// Sends a ping unless one is under way, and judges the one that is. Does not wait.
    ///
    /// @return false when the connection is lost, or when the answer is overdue: not there after
    ///         answerTimeoutMs, not counting the time of calls that were let in, in at least
    ///         minChecks checks. Always true while a call is being served.
    [[nodiscard]] bool hearsTheBus();

private:
    void ping();

    QDBusConnection connection;
    QTimer tick; ///< wakes the event loop each second while a ping is under way
    QElapsedTimer sincePing;
    qint64 servedMs = 0; ///< how much of that went to calls that were let in
    int checks = 0;      ///< how often the ping under way has been judged
    int callDepth = 0;   ///< calls being served; several within a nested event loop
};

} // namespace halvex
