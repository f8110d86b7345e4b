// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

/// One argument of a method or a signal.
struct Argument
{
    QString name;
    QString type; ///< its bus signature
};

/// A method or a signal of the daemon's interface.
struct Member
{
    QString name;
    QVector<Argument> in;
    QVector<Argument> out; ///< of a method: the status first; of a signal: its arguments
};

/// The daemon's interface as its description file gives it, which is built in.
struct InterfaceDescription
{
    QString name;
    QVector<Member> methods;
    QVector<Member> signalMembers;

    /// The method @p wanted, or null.
    [[nodiscard]] const Member *method(const QString &wanted) const;
};

/// Reads the built-in description.
[[nodiscard]] InterfaceDescription readInterfaceDescription();
