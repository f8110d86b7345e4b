// SPDX-License-Identifier: MIT
//
// Base of the test that makes each system call of a scenario fail once.
#pragma once

#include "faults/fault_host.h"
#include "faults/scenarios.h"
#include "faults/tracing.h"

#include <QList>
#include <QString>

#include <optional>

class FaultRun : public FaultHost
{
protected:
    /// What has been tried with a scenario.
    struct Numbers
    {
        int faults = 0;
        int notReached = 0; ///< the fault was injected into no call, or only into one that cannot
                            ///< have this error
        int slow = 0;       ///< the call took more than three seconds, or got no answer
        int findings = 0;
    };

    /// All faults that can happen in @p scenario, in an order that is the same each time.
    [[nodiscard]] QList<Fault> faultsOf(const Scenario &scenario);

    /// Makes @p fault happen in a call of the daemon, and checks this call and the next one.
    void tryFault(const Scenario &scenario, const Fault &fault);

    Numbers numbers;
    bool isVerbose = false; ///< prints what strace has seen and the answers

private:
    struct Outcome
    {
        std::optional<Reply> reply;
        bool wasSlow = false;
        bool daemonServes = true; ///< serves a bystander; checked only after a slow call
    };

    void prepare(const Scenario &scenario);
    void startAgain();
    void warmUp(const Scenario &scenario);
    [[nodiscard]] Outcome callOnce(const Scenario &scenario);
    [[nodiscard]] bool serves();
    [[nodiscard]] QList<SeenCall> watchedCalls(const Scenario &scenario);
    [[nodiscard]] QString nameOf(pid_t id) const;
    [[nodiscard]] bool isReached(const Fault &fault, const QList<SeenCall> &seen) const;
    void check(const Scenario &scenario, const Fault &fault, const Outcome &outcome);
    void checkNextCall(const Scenario &scenario, const Fault &fault);
    void report(const Scenario &scenario, const Fault &fault, const QString &text);

    QList<Thread> threads;
    int callsOfDaemon = 0; ///< since the daemon's start
    bool isCold = true;    ///< the daemon has not been called yet
};
