// SPDX-License-Identifier: MIT
//
// A throwaway host with the daemon on it, a system bus and a system log.
#pragma once

#include "support/suite_host.h"
#include "support/system_log.h"

#include <QProcess>
#include <QString>
#include <QStringList>

/// An environment that the daemon finds nothing wrong with.
inline const QStringList soundEnvironment{"PATH=/usr/bin:/bin:/usr/sbin:/sbin"};

/// Base of every test that needs the daemon. A test sets the stage, calls startDaemon() and then
/// call(); at its end the daemon must still run and must not have been reported by a sanitizer.
class DaemonHost : public SuiteHost
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// Starts the daemon and waits until it serves the bus.
    ///
    /// @param wrapper  a command that starts it, such as setpriv
    void startDaemon(const QStringList &environment = soundEnvironment,
                     const QStringList &wrapper = {});

    /// Starts the daemon without waiting until it serves.
    void launchDaemon(const QStringList &environment = soundEnvironment,
                      const QStringList &wrapper = {});

    /// Waits until the daemon that was launched serves the bus.
    void awaitDaemon();

    /// Starts the daemon where it must end by itself, and returns its exit status.
    [[nodiscard]] int runDaemonToItsEnd(const QStringList &environment);

    /// Ends the daemon, whatever it is doing.
    void stopDaemon();

    /// What the daemon has written to standard error so far, a line each, without the empty ones
    /// and without the dump of each caller's environment.
    [[nodiscard]] static QStringList daemonMessages();

    /// What the daemon has printed to standard output so far, a line each.
    [[nodiscard]] static QStringList daemonOutput();

    SystemLog systemLog;
    QProcess bus;
    QProcess daemon;
    QStringList daemonArguments; ///< what it is started with
    bool daemonMayEnd = false;   ///< set by a test in which the daemon ends or is replaced
};
