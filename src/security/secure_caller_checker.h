// SPDX-License-Identifier: MIT
//
// The gate: decides about one bus caller. It uses what the kernel and the bus daemon say about the
// calling process at that moment: its initial environment, its namespaces and those of process 1,
// the program it runs (see readProgramPath() for one that root may not access), and its user.
//
// Limitation: a process can send a call and then exec a front end, while a child keeps its
// connection. The gate then sees the front end.
//
// Reads /proc and asks the bus daemon again at every call; keeps nothing. The time-out is
// busAnswerTimeoutMs for an answer of the bus and callerReadTimeoutMs for the kernel. On time-out
// the caller is refused. The status tool has no time-out. Never writes to syslog.
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

/// The name of the gate's own connection on the system bus. The bus policy forbids all messages to
/// its owner, so that no flood can delay the bus's answers to the gate.
constexpr const char *gateBusName = "com.norva.halvex.desktop.gate";

} // namespace halvex

/// Knows the four front-end programs and tells whether a call comes from one of them.
class SecureCallerChecker : public QObject
{
    Q_OBJECT

public:
    /// Connects to the system bus for the gate's questions alone. Without that connection every
    /// caller is refused.
    explicit SecureCallerChecker(QObject *parent = nullptr);
    SecureCallerChecker(const SecureCallerChecker &) = delete;
    SecureCallerChecker &operator=(const SecureCallerChecker &) = delete;
    ~SecureCallerChecker() override;

    /// Decides about the sender of @p message, which arrived over @p connection. @p connection is
    /// not used: the gate asks over its own.
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
    [[nodiscard]] bool canAskTheBus() const { return isAnswered && questions.isConnected(); }

private:
    [[nodiscard]] bool checkCallerEnvironment(qint32 pid);
    [[nodiscard]] bool isAllowedExecutable(qint32 pid);

    const QSet<QString> allowedExecutables;
    /// Reads /proc; must be created before any thread.
    halvex::ExpendableWorker worker{"halvex-gate"};
    const QDBusConnection questions; ///< the gate's own connection
    bool isAnswered = false;
};
