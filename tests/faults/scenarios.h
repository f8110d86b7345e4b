// SPDX-License-Identifier: MIT
//
// The calls to the daemon during which system calls are made to fail, and their normal results.
#pragma once

#include "faults/fault_host.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

/// One call of one caller.
struct Scenario
{
    QString name;
    Role role = Role::Allowed;
    QString method;
    QStringList arguments;
    Reply served;        ///< the answer to an allowed caller
    QString changedFile; ///< the one file that it changes, if any
    QByteArray newContent;
    bool saysWhetherSaved = false; ///< whether the status 0 means that the file is changed
    bool isFirstCall = false;      ///< of a daemon that has just been started
};

inline void PrintTo(const Scenario &scenario, std::ostream *stream)
{
    *stream << qPrintable(scenario.name);
}

/// Every method for an allowed caller, the first call of a daemon, and one or two methods for each
/// caller that must be refused.
[[nodiscard]] const QList<Scenario> &scenarios();
