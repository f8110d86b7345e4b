// SPDX-License-Identifier: MIT
//
// A throwaway host on which every method has something to do, with front ends that stay connected.
#pragma once

#include "support/daemon_host.h"

#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <map>
#include <memory>
#include <optional>

/// Who calls.
enum class Role {
    Allowed,            ///< a member of wheel
    ForbiddenVariable,  ///< root, with LD_PRELOAD after 20 KB of other variables
    OtherProgram,       ///< root, with a front end at another path
    OrdinaryUser,       ///< no administrator
    WheelWhenSeparated, ///< a member of wheel while the administrator roles are separated
    RootWhenSeparated,
    Bystander, ///< root, to see whether the daemon serves
};

inline const QString exportPath = "/tmp/halvex_alerts.log";

/// The content of a complete export, which is the same in whichever order the logs are read.
[[nodiscard]] QByteArray allAlerts();

/// The contents of the settings files and of the export, by their paths.
using Files = QMap<QString, QByteArray>;

/// Front ends that make many calls each, because starting one takes longer than a call.
class FrontEnds
{
public:
    FrontEnds() = default;
    ~FrontEnds();
    FrontEnds(const FrontEnds &) = delete;
    FrontEnds &operator=(const FrontEnds &) = delete;

    /// Sends a call of @p method as @p role. answer() returns the answer to it.
    void ask(Role role, const QString &method, const QStringList &arguments);

    /// The answer to the oldest unanswered call of @p role, if it comes within @p timeoutMs on a
    /// fast machine.
    [[nodiscard]] std::optional<Reply> answer(Role role, int timeoutMs);

    /// Ends the front end of @p role, which waits for an answer that will not come.
    void giveUp(Role role);

private:
    QProcess &started(Role role);

    std::map<Role, std::unique_ptr<QProcess>> processes;
};

/// Base of the tests that make system calls fail.
class FaultHost : public DaemonHost
{
protected:
    void SetUp() override;
    void TearDown() override;

    void restartDaemon();

    /// Whether the daemon's process still runs.
    [[nodiscard]] bool daemonRuns();

    /// Makes the status tool report that the administrator roles are separated if @p role needs
    /// this, and otherwise that they are not.
    static void setStatusToolFor(Role role);

    /// The files as they are before every call.
    static const Files &originalFiles();
    [[nodiscard]] static Files currentFiles();
    static void restoreFiles();

    FrontEnds frontEnds;

private:
    void startUpgradeService();

    QProcess upgradeService;
};
