// SPDX-License-Identifier: MIT
//
// A host whose daemon is attacked, and its bystanders.
#pragma once

#include "attacks/attackers.h"
#include "support/daemon_host.h"

/// What a bystander asks for, and what it gets.
namespace bystander {
constexpr const char *method = "getEventTotalCount";
inline const Reply served{0, {"1234"}};
/// An ordinary user's front end, at a place that no attacker takes.
inline const Caller caller{user::ordinary, "/opt/appdata/halvex/bin/halvex-desktop"};

/// Makes the file of which it is told.
void prepare();

/// Tells whether one is served within @p timeoutMs; it asks again when it gets an error, as from a
/// daemon that goes and is started anew. @p command is how it calls.
[[nodiscard]] testing::AssertionResult isServedWithin(int timeoutMs, const QStringList &command);
} // namespace bystander

/// The daemon as a child process, with the shipped policy.
class AttackedHost : public DaemonHost
{
protected:
    void SetUp() override;
    void TearDown() override;

    [[nodiscard]] static testing::AssertionResult isServedWithin(int timeoutMs);

    /// Expects the daemon to end at once when it is killed, whatever it is doing.
    void expectItCanBeKilled();

    /// How many threads the daemon has, and children.
    [[nodiscard]] int tasksOfDaemon() const;

    /// Makes the next caller, a front end of root's, wait where the gate runs the status tool, and
    /// returns once it does.
    void holdTheGate();
    /// Lets it go; the status tool says @p text then and later.
    void releaseTheGate(const QByteArray &text = "Three Admin : off\n");

    /// A bystander that has called and does not wait any longer than @p process does.
    static void startBystander(QProcess &process);

    Attackers attackers;

private:
    QProcess held;
};
