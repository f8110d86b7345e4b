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
// Reads /proc and asks the bus daemon afresh at every call; keeps nothing. Blocks for the bus
// daemon's answers and for the status tool. Never writes to syslog.
#pragma once

#include <QObject>
#include <QSet>
#include <QString>

class QDBusConnection;
class QDBusMessage;

/// Knows the four front-end programs and tells whether a call comes from one of them.
class SecureCallerChecker : public QObject
{
    Q_OBJECT

public:
    explicit SecureCallerChecker(QObject *parent = nullptr);

    /// Judges the sender of @p message, which came in over @p connection.
    ///
    /// A reason that concerns the process id or a namespace is written as a Qt warning, an
    /// environment that cannot be opened as a Qt debug message; a forbidden variable or another
    /// program refuses in silence. Looking the user up may print lines to standard output (see
    /// isPrivilegedCaller()). The caller's whole environment goes to the Qt debug log.
    ///
    /// @param requireAdmin  whether the sender must be an administrator too
    /// @return 0 when the caller is accepted, 1 when it is refused
    [[nodiscard]] int verifyCaller(const QDBusMessage &message, const QDBusConnection &connection,
                                   bool requireAdmin) const;

private:
    [[nodiscard]] static bool checkCallerEnvironment(qint32 pid);
    [[nodiscard]] static bool sharesHostNamespaces(qint32 pid);
    [[nodiscard]] bool isAllowedExecutable(qint32 pid) const;

    const QSet<QString> allowedExecutables;
};
