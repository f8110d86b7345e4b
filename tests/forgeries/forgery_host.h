// SPDX-License-Identifier: MIT
//
// A throwaway host for attackers of the daemon: one of the front end's paths has the odd front end
// (odd_front_end.cpp), and what the daemon does for a caller leaves traces.
//
// The bus's policy may keep a call from the daemon, which refuses it otherwise. Both are right, and
// the tests here accept both where either may come: what counts is that nothing is done.
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

/// The thirteen methods; those that change the system would all leave a trace.
const QList<WordedCall> &allWordedCalls();

class ForgeryHost : public DaemonHost
{
protected:
    void SetUp() override;

    static constexpr const char *object = "/com/norva/halvex/desktop";
    static constexpr const char *interface = "com.norva.halvex.desktop.com.norva.halvex.desktop";

    /// Words that make the odd front end read: the total of events.
    inline static const QStringList reading{"call", object, interface, "getEventTotalCount"};
    /// Words that make it change the system: restart a service.
    inline static const QStringList changing{"call", object, interface, "restartService",
                                             "s=halvex-ebpf"};

    /// Who runs the odd front end at one of the front end's paths.
    static Caller runBy(unsigned uid) { return Caller{uid, "/usr/sbin/halvex-desktop"}; }

    /// The odd front end's answer to @p words, as @p caller.
    [[nodiscard]] static Reply odd(const QStringList &words, const Caller &caller);

    /// Starts the odd front end and waits until it has come to its step "pause".
    ///
    /// @return the process that pauses
    static pid_t startOdd(QProcess &process, const QStringList &words, const Caller &caller);

    /// Lets a front end that pauses go on, and returns the answer.
    [[nodiscard]] static Reply finishOdd(QProcess &process);

    /// Makes the next caller wait in the gate, where the status tool is asked, until releaseGate().
    static void holdGate();
    static void awaitHeldGate();
    static void releaseGate();

    /// The gate let the caller in, who asked for the total of events.
    static void expectLetIn(const Reply &reply);

    /// The caller was refused, by the gate or by the bus.
    static void expectRefused(const Reply &reply);

    /// There is no trace of anything that was done.
    void expectNothingDone();

    /// The daemon answers the next caller, and so has answered all before.
    void expectItServes();

    /// How many calls have come to the gate: each leaves a dump of its caller's environment.
    [[nodiscard]] static int callsAtTheGate();
};
