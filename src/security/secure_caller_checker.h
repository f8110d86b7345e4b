// SPDX-License-Identifier: MIT
//
// The gate's judgement of one bus caller. It rests on what the kernel and the bus daemon say about
// the calling process when they are asked: its initial environment, its namespaces beside those of
// process 1, the program it runs, and its user. Only if root itself may not look at the program, as
// on a user's own FUSE mount, does its first argument count.
//
// Its limit: a process that calls and then becomes a front end, while a child of it keeps the
// connection, is judged by what it has become.
//
// Reads /proc and asks the bus daemon afresh at every call; keeps nothing. An answer of the bus is
// waited for as long as busAnswerTimeoutMs, the kernel's as long as callerReadTimeoutMs, and one
// that does not come refuses the caller. The status tool is waited for without a limit. Never
// writes to syslog.
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

/// The name of the gate's own connection on the system bus. The bus policy forbids everybody to
/// send to its owner, so that no flood keeps the bus's answers from the gate.
constexpr const char *gateBusName = "com.norva.halvex.desktop.gate";

} // namespace halvex

/// Knows the four front-end programs and tells whether a call comes from one of them.
class SecureCallerChecker : public QObject
{
    Q_OBJECT

public:
    /// Makes a connection to the system bus for the gate's questions alone. Without that connection
    /// every caller is refused.
    explicit SecureCallerChecker(QObject *parent = nullptr);
    SecureCallerChecker(const SecureCallerChecker &) = delete;
    SecureCallerChecker &operator=(const SecureCallerChecker &) = delete;
    ~SecureCallerChecker() override;

    /// Judges the sender of @p message, which came in over @p connection. The latter is not used:
    /// the gate asks over its own.
    ///
    /// A reason that concerns the process id or a namespace is written as a Qt warning, an
    /// environment that cannot be opened or read as a Qt debug message; a forbidden variable or
    /// another program refuses in silence. Looking the user up may print lines to standard output
    /// (see isPrivilegedCaller()). The caller's whole environment goes to the Qt debug log.
    ///
    /// @param requireAdmin  whether the sender must be an administrator too
    /// @return 0 when the caller is accepted, 1 when it is refused
    [[nodiscard]] int verifyCaller(const QDBusMessage &message, const QDBusConnection &connection,
                                   bool requireAdmin);

    /// Tells whether the gate's own connection to the bus stands and is protected by its name.
    [[nodiscard]] bool canAskTheBus() const { return isProtected && questions.isConnected(); }

private:
    [[nodiscard]] bool checkCallerEnvironment(qint32 pid);
    [[nodiscard]] bool isAllowedExecutable(qint32 pid);

    const QSet<QString> allowedExecutables;
    /// Reads /proc; made before there is another thread.
    halvex::ExpendableWorker worker{"halvex-gate"};
    const QDBusConnection questions; ///< the gate's own connection
    bool isProtected = false;        ///< whether that owns gateBusName
};
