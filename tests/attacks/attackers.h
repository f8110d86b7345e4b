// SPDX-License-Identifier: MIT
//
// The programs of tests/attackers, as a test starts and ends them.
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

/// The attackers of one test. All end with it, in an order in which each can end: a process that
/// waits for a file that does not answer is gone only after that file.
class Attackers
{
public:
    /// Copies the programs to where any user can run them, and lets users mount file systems.
    Attackers();
    ~Attackers() { endAll(); }
    Attackers(const Attackers &) = delete;
    Attackers &operator=(const Attackers &) = delete;

    /// Starts the attacker @p command, its name first, as the user @p uid. It is no front end.
    QProcess &start(const QStringList &command, unsigned uid);

    /// Starts the attacker @p command in the front end's place, /usr/sbin/halvex-desktop.
    QProcess &startAsFrontEnd(const QStringList &command, unsigned uid);

    /// Runs the attacker @p command to its end, which must be one without a failure.
    ///
    /// @return what it has printed, a line each
    QStringList run(const QStringList &command, unsigned uid);

    /// Starts hanging-file as the user @p uid, and waits until its file is there.
    ///
    /// @param pid  the only process for which closing the file hangs; 0 for all
    QProcess &startHangingFile(unsigned uid, qint64 pid = 0);

    /// The file that hangs.
    [[nodiscard]] static QString hangingFile() { return "/srv/hanging/file"; }

    void endAll();

private:
    QProcess &startCommand(const QStringList &command, unsigned uid);

    std::vector<std::unique_ptr<QProcess>> files;
    std::vector<std::unique_ptr<QProcess>> processes;
};

/// Waits until @p process has printed the line @p last, for @p timeoutMs of a fast machine at most.
///
/// @return all lines that it has printed before, or what it has printed so far and "no LAST"
[[nodiscard]] QStringList linesUntil(QProcess &process, const QString &last, int timeoutMs);
