// SPDX-License-Identifier: MIT
//
// A throwaway host with the daemon on it, a system bus and a system log.
#pragma once

#include "support/suite_host.h"
#include "support/system_log.h"

#include <QProcess>
#include <QString>
#include <QStringList>

/// An environment whose PATH the daemon accepts as it is.
inline const QStringList soundEnvironment{"PATH=/usr/bin:/bin:/usr/sbin:/sbin"};

/// Base of tests in which the daemon is a child process of the test. A test prepares the host, then
/// calls startDaemon() and call(). When the test ends, the daemon must still run, and no sanitizer
/// may have reported an error in it.
class DaemonHost : public SuiteHost
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// Overrides the bus policy: the bus then passes on all messages to the daemon, and the daemon
    /// itself must withstand them.
    static void overridePolicy();

    /// Starts the daemon and waits until it serves the bus.
    ///
    /// @param wrapper  a command that starts the daemon, such as setpriv
    void startDaemon(const QStringList &environment = soundEnvironment,
                     const QStringList &wrapper = {});

    /// Starts the daemon without waiting until it serves.
    void launchDaemon(const QStringList &environment = soundEnvironment,
                      const QStringList &wrapper = {});

    /// Waits until the launched daemon serves the bus.
    void awaitDaemon();

    /// Starts the daemon, waits until it exits by itself, and returns its exit status.
    [[nodiscard]] int runDaemonToItsEnd(const QStringList &environment);

    /// Ends the daemon, even if it is in the middle of a call.
    void stopDaemon();

    /// The lines that the daemon has written to standard error so far, except empty lines and the
    /// dump of each caller's environment.
    [[nodiscard]] static QStringList daemonMessages();

    /// The lines that the daemon has printed to standard output so far.
    [[nodiscard]] static QStringList daemonOutput();

    SystemLog systemLog;
    QProcess bus;
    QProcess daemon;
    QStringList daemonArguments; ///< for the next start of the daemon
    bool daemonMayEnd = false;   ///< set by a test in which the daemon ends or is replaced
};
