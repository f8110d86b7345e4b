// SPDX-License-Identifier: MIT
//
// Starts and ends the programs of tests/attackers for a test.
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

/// The attackers of one test, which all end with this object. The hanging files end first: a
/// process that waits for one of them cannot end before it.
class Attackers
{
public:
    /// Copies the programs to where any user can run them, and lets users mount file systems.
    Attackers();
    ~Attackers() { endAll(); }
    Attackers(const Attackers &) = delete;
    Attackers &operator=(const Attackers &) = delete;

    /// Starts the attacker @p command as the user @p uid, from a path that is no front end's. The
    /// first word of @p command is the attacker's name.
    QProcess &start(const QStringList &command, unsigned uid);

    /// Starts the attacker @p command from the front end's path, /usr/sbin/halvex-desktop.
    QProcess &startAsFrontEnd(const QStringList &command, unsigned uid);

    /// Runs the attacker @p command, and expects it to exit with status 0.
    ///
    /// @return the lines that it has printed
    QStringList run(const QStringList &command, unsigned uid);

    /// Starts hanging-file as the user @p uid, and waits until its file is there.
    QProcess &startHangingFile(unsigned uid);

    /// The file that hangs.
    [[nodiscard]] static QString hangingFile() { return "/srv/hanging/file"; }

    void endAll();

private:
    QProcess &startCommand(const QStringList &command, unsigned uid);

    std::vector<std::unique_ptr<QProcess>> files;
    std::vector<std::unique_ptr<QProcess>> processes;
};

/// Waits until @p process has printed the line @p last, for at most @p timeoutMs on a fast machine.
///
/// @return the lines before @p last; if @p last was not printed, all lines, and then "no LAST"
[[nodiscard]] QStringList linesUntil(QProcess &process, const QString &last, int timeoutMs);
