// SPDX-License-Identifier: MIT
//
// A host whose daemon is attacked, and its bystanders.
#pragma once

#include "attacks/attackers.h"
#include "attacks/bystander.h"
#include "support/daemon_host.h"

/// The daemon as a child process, with the shipped policy.
class AttackedHost : public DaemonHost
{
protected:
    void SetUp() override;
    void TearDown() override;

    [[nodiscard]] static testing::AssertionResult isServedWithin(int timeoutMs);

    /// Expects the daemon to end at once when it is killed, whatever it is doing.
    void expectItCanBeKilled();

    /// How many threads the daemon and its descendants have.
    [[nodiscard]] int tasksOfDaemon() const;

    /// Makes the next caller, a front end of root's, wait where the gate runs the status tool, and
    /// returns once it does.
    void holdTheGate();
    /// Lets it go; the status tool says @p text then and later.
    void releaseTheGate(const QByteArray &text = "Three Admin : off\n");

    Attackers attackers;

private:
    QProcess held;
};
