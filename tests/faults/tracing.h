// SPDX-License-Identifier: MIT
//
// Watches the daemon's system calls by strace, and makes them fail.
#pragma once

#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <sys/types.h>

/// The kind of the file that a call is about: of the first descriptor or path in its arguments.
enum class FileKind {
    None, ///< no file at all
    Regular,
    Proc, ///< below /proc
    Pipe,
    Socket,   ///< a connection
    Datagram, ///< a socket that only sends, as to the system log
    EventFd,
    Other, ///< a device, a directory, or an anonymous file of the kernel
};

/// One thread of the daemon that lives for longer than a call.
struct Thread
{
    pid_t id = 0;
    QString name; ///< the same in each run of the daemon: "daemon", "daemon:QDBusConnection"
};

/// The common name of all threads and processes that begin during a call.
inline const QString newThreads = "new";

/// The threads of the process @p daemon, and those of its children that run the daemon's program.
[[nodiscard]] QList<Thread> daemonThreads(qint64 daemon);

/// A system call that strace has seen.
struct SeenCall
{
    pid_t thread = 0;
    QString name;
    QString text; ///< the whole line
    FileKind kind = FileKind::None;
    QString path; ///< of a regular file
    bool failedOnPurpose = false;
};

/// The calls in strace's output @p written, in their order. If strace watches one thread only, it
/// omits the thread's number, which is then @p onlyThread.
[[nodiscard]] QList<SeenCall> seenCalls(const QByteArray &written, pid_t onlyThread);

/// A system call that is to fail. The calls of one name in one thread are numbered from 1. If a
/// path is given, only the calls about that file are numbered.
struct Fault
{
    QString thread;
    QString call;
    QString path; ///< of the file; empty if calls about all files are numbered together
    int number = 1;
    QString error;
    QString sample; ///< the call as it was seen when none failed

    /// The fault's name: "daemon read:error=EIO:when=3".
    [[nodiscard]] QString id() const;
};

/// strace, attached to the daemon for the length of a call.
class Strace
{
public:
    /// Attaches to all @p threads. Follows the threads and processes that they start, until these
    /// run another program.
    [[nodiscard]] bool watch(const QList<Thread> &threads);

    /// Attaches so that @p fault happens. Returns false if the fault's thread is not among
    /// @p threads, or if strace does not attach in time.
    [[nodiscard]] bool inject(const Fault &fault, const QList<Thread> &threads);

    /// Detaches, and returns what was seen.
    [[nodiscard]] QList<SeenCall> finish();

    /// The options of strace that make @p fault happen, without process ids.
    [[nodiscard]] static QStringList options(const Fault &fault);

private:
    [[nodiscard]] bool attach(const QStringList &options, const QList<Thread> &threads);

    QProcess strace;
    pid_t onlyThread = 0;
};
