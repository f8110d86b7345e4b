// SPDX-License-Identifier: MIT
//
// A throwaway host for attacks on the daemon. One of the front end's paths has the odd front end
// (odd_front_end.cpp), and everything that the daemon does for a caller leaves a trace.
//
// Either the bus's policy stops a forbidden call, or the daemon refuses it. If either may happen,
// the tests accept either, as long as the call has no effect.
#pragma once

#include "support/daemon_host.h"

#include <QProcess>
#include <QString>
#include <QStringList>

/// A method with its arguments as words for the odd front end.
struct WordedCall
{
    QString method;
    QStringList words;
};

/// All methods. Each one that changes the system would leave a trace.
const QList<WordedCall> &allWordedCalls();

class ForgeryHost : public DaemonHost
{
protected:
    void SetUp() override;

    static constexpr const char *object = "/com/norva/halvex/desktop";
    static constexpr const char *interface = "com.norva.halvex.desktop.com.norva.halvex.desktop";

    /// Words that make the odd front end read the total of events.
    inline static const QStringList reading{"call", object, interface, "getEventTotalCount"};
    /// Words that make the odd front end change the system: it restarts a service.
    inline static const QStringList changing{"call", object, interface, "restartService",
                                             "s=halvex-ebpf"};

    /// The user @p uid, running the odd front end at one of the front end's paths.
    static Caller runBy(unsigned uid) { return Caller{uid, "/usr/sbin/halvex-desktop"}; }

    /// Runs the odd front end with @p words as @p caller, and returns the daemon's answer.
    [[nodiscard]] static Reply odd(const QStringList &words, const Caller &caller);

    /// Starts the odd front end and waits until it has reached its step "pause".
    ///
    /// @return the process that pauses
    static pid_t startOdd(QProcess &process, const QStringList &words, const Caller &caller);

    /// Lets a pausing front end continue, and returns the daemon's answer.
    [[nodiscard]] static Reply finishOdd(QProcess &process);

    /// Holds the next caller in the gate until releaseGate(). The gate runs the status tool, and
    /// the tool waits.
    static void holdGate();
    static void awaitHeldGate();
    static void releaseGate();

    /// Expects that the gate accepted the caller and the caller got the total of events.
    static void expectLetIn(const Reply &reply);

    /// Expects that the gate or the bus refused the caller.
    static void expectRefused(const Reply &reply);

    /// Expects that the daemon has left no trace of any action.
    void expectNothingDone();

    /// Expects that the daemon answers another caller. The daemon has then answered all earlier
    /// callers.
    void expectItServes();

    /// How many calls have reached the gate: each leaves a dump of its caller's environment.
    [[nodiscard]] static int callsAtTheGate();
};
