// SPDX-License-Identifier: MIT
//
// The gate: decides whether one bus caller is accepted. It uses what the kernel and the bus daemon
// say about the calling process at that moment: its initial environment, its namespaces, the
// program that it runs, and its user. The namespaces are compared with those of process 1. For a
// program that root may not access, see readProgramPath().
//
// Limitation: a process can send a call and then exec a front end, while its child process keeps
// the bus connection. The gate then sees the front end.
//
// Reads /proc and asks the bus daemon again at every call; keeps nothing. The time-out is
// busAnswerTimeoutMs for each answer of the bus daemon. It is callerReadTimeoutMs for the
// environment and the namespaces together, and again for the program. On time-out the caller is
// refused, except that a method that only reads does not need the answer about the user. The status
// tool has no time-out. Never writes to the system log.
#pragma once

#include "util/expendable_worker.h"

#include <QDBusConnection>
#include <QObject>
#include <QSet>
#include <QString>

class QDBusMessage;

namespace halvex {

/// How long the gate waits for each answer of the bus daemon, in milliseconds.
constexpr int busAnswerTimeoutMs = 2000;

/// The name of the gate's own connection on the system bus. The bus policy lets nobody send
/// messages to its owner. No policy applies to the bus itself, so only its answers arrive, and no
/// flood of messages can delay them.
constexpr const char *gateBusName = "com.norva.halvex.desktop.gate";

} // namespace halvex

/// Knows the four front-end programs and tells whether a call comes from one of them.
class SecureCallerChecker : public QObject
{
    Q_OBJECT

public:
    /// Opens a connection to the system bus that is used only for the gate's questions. Without
    /// this connection, every caller is refused.
    explicit SecureCallerChecker(QObject *parent = nullptr);
    SecureCallerChecker(const SecureCallerChecker &) = delete;
    SecureCallerChecker &operator=(const SecureCallerChecker &) = delete;
    ~SecureCallerChecker() override;

    /// Decides whether the sender of @p message is accepted. @p connection, over which the message
    /// arrived, is not used: the gate has its own connection.
    ///
    /// Problems with the process id and namespaces are written as Qt warnings, and a failure to
    /// open or read the environment as a Qt debug message. A forbidden variable or a wrong program
    /// is not logged. The user look-up may print lines to standard output (see
    /// isPrivilegedCaller()). The caller's whole environment goes to the Qt debug log.
    ///
    /// @param requireAdmin  whether the sender must be an administrator too
    /// @return 0 if the caller is accepted, 1 if it is refused
    [[nodiscard]] int verifyCaller(const QDBusMessage &message, const QDBusConnection &connection,
                                   bool requireAdmin);

    /// Tells whether the gate's own connection to the bus is open, and the bus answered the claim
    /// of gateBusName.
    [[nodiscard]] bool canAskTheBus() const { return isAnswered && gateConnection.isConnected(); }

private:
    [[nodiscard]] bool checkCallerEnvironment(qint32 pid);
    [[nodiscard]] bool isAllowedExecutable(qint32 pid);

    const QSet<QString> allowedExecutables;
    /// Reads /proc; must be created before any thread.
    halvex::ExpendableWorker worker{"halvex-gate"};
    const QDBusConnection gateConnection;
    bool isAnswered = false;
};
