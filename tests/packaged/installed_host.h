// SPDX-License-Identifier: MIT
//
// A booted host with the package installed, as an administrator gets it: the bus starts the daemon
// under systemd with the first call.
#pragma once

#include "support/suite_host.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

class InstalledHost : public SuiteHost
{
protected:
    void SetUp() override;

    /// Lets packages start and stop units.
    static void allowPackagesToStartUnits();

    /// Runs @p command, which must succeed, and returns what it prints.
    static QByteArray mustRun(const QStringList &command);

    /// Installs the package, even if it is installed already.
    static void installPackage() { mustRun({"dpkg", "--install", PACKAGE}); }

    /// The value that systemd reports for @p property of the daemon's unit.
    [[nodiscard]] static QByteArray show(const char *property);

    /// The daemon's process id; 0 while it does not run.
    [[nodiscard]] static int daemonPid() { return show("MainPID").toInt(); }

    /// Adds @p lines to the unit's section [Service] until the host's end.
    static void addToUnit(const QByteArray &lines);

    /// The journal's lines from the daemon and its children, and from systemd about them.
    [[nodiscard]] static QString journal();
};
