// SPDX-License-Identifier: MIT
//
// A host on which attackers attack the daemon while bystanders call it.
#pragma once

#include "attacks/attackers.h"
#include "attacks/bystander.h"
#include "support/daemon_host.h"

/// A host on which the daemon runs as a child process of the test, under the shipped bus policy.
class AttackedHost : public DaemonHost
{
protected:
    void SetUp() override;
    void TearDown() override;

    [[nodiscard]] static testing::AssertionResult isServedWithin(int timeoutMs);

    /// Expects the daemon to exit when it is killed, whatever it is doing.
    void expectItCanBeKilled();

    /// How many threads the daemon and its descendants have.
    [[nodiscard]] int tasksOfDaemon() const;

    /// Calls the daemon as root's front end, and makes its gate block while it runs the status
    /// tool. Returns once the gate blocks.
    void holdTheGate();
    /// Lets the gate go on. From now on the status tool prints @p text.
    void releaseTheGate(const QByteArray &text = "Three Admin : off\n");

    Attackers attackers;

private:
    QProcess held;
};
