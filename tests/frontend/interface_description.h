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
    QVector<Argument> out; ///< a method's status and out-values, or a signal's arguments
};

/// The daemon's interface, as described by the XML file that is built into the program.
struct InterfaceDescription
{
    QString name;
    QVector<Member> methods;
    QVector<Member> signalMembers;

    /// The method named @p wanted, or null.
    [[nodiscard]] const Member *method(const QString &wanted) const;
};

/// Reads the built-in description.
[[nodiscard]] InterfaceDescription readInterfaceDescription();
