// SPDX-License-Identifier: MIT
#include "faults/system_call_errors.h"

#include <QHash>
#include <QRegularExpression>

namespace {

/// Calls that are never made to fail.
const QHash<QString, const char *> leftOut{
    // These cannot fail with the arguments that programs give them, or a failure has no effect.
    {"clock_gettime", "cannot fail"},
    {"clock_getres", "cannot fail"},
    {"close_range", "fails for wrong arguments only"},
    {"fadvise64", "advice, which may be ignored"},
    {"getegid", "cannot fail"},
    {"geteuid", "cannot fail"},
    {"getgid", "cannot fail"},
    {"getpeername", "cannot fail on a connected socket"},
    {"getpgid", "cannot fail for a child that lives"},
    {"getpid", "cannot fail"},
    {"getppid", "cannot fail"},
    {"getsid", "cannot fail"},
    {"gettid", "cannot fail"},
    {"gettimeofday", "cannot fail"},
    {"getuid", "cannot fail"},
    {"lseek", "moves a position within a file; fails for wrong arguments only"},
    {"prctl", "fails for wrong arguments only"},
    {"prlimit64", "reads the program's own limit"},
    {"rseq", "the C library's own"},
    {"rt_sigaction", "fails for wrong arguments only"},
    {"rt_sigprocmask", "fails for wrong arguments only"},
    {"rt_sigreturn", "does not return"},
    {"rt_sigtimedwait", "a failure looks like a wait without a signal"},
    {"sched_getaffinity", "fails for wrong arguments only"},
    {"sched_yield", "cannot fail"},
    {"set_robust_list", "the C library's own"},
    {"set_tid_address", "cannot fail"},
    {"setitimer", "fails for wrong arguments only"},
    {"sigaltstack", "fails for wrong arguments only"},
    {"shutdown", "cannot fail on a connected socket"},
    {"sysinfo", "cannot fail"},
    {"timerfd_settime", "fails for wrong arguments only"},
    {"umask", "cannot fail"},
    {"uname", "cannot fail"},
    // Calls that end a program, or that continue another call.
    {"exit", "does not return"},
    {"exit_group", "does not return"},
    {"restart_syscall", "the rest of an interrupted call"},
    // Locks between threads. Some errors are usual; at any other error, the C library aborts the
    // program, whatever the daemon does.
    {"futex", "the C library's locks"},
};

struct Row
{
    const char *call;
    QList<FileKind> kinds; ///< empty: files of all kinds
    const char *errors;
};

const char *const pathErrors = "EACCES EIO ELOOP ENOENT ENOMEM ENOTDIR";
const char *const procErrors = "EACCES ENOENT ENOMEM ESRCH";
const char *const changeErrors = "EACCES EDQUOT EIO ENOENT ENOMEM ENOSPC EPERM EROFS";
const char *const descriptorErrors = "EMFILE ENFILE ENOMEM";

/// The first row that matches applies. Two groups of errors are left out: those of wrong arguments
/// (EBADF, EFAULT and, except for pidfd_open and readlink, EINVAL), and those of stream sockets
/// whose other end is closed (ECONNRESET, EPIPE, ENOTCONN). Another test covers the loss of the
/// bus.
const QList<Row> rows{
    {"access", {FileKind::Proc}, procErrors},
    {"access", {}, pathErrors},
    {"bind", {}, "EACCES EADDRINUSE ENOMEM"},
    // brk fails without an error: it returns the old break. The C library also takes a 0 for a
    // failure.
    {"brk", {}, "retval=0"},
    {"chdir", {}, pathErrors},
    {"chmod", {}, changeErrors},
    {"clock_nanosleep", {}, "EINTR"},
    {"clone", {}, "EAGAIN ENOMEM"},
    {"clone3", {}, "EAGAIN ENOMEM"},
    // Only closing a regular file may report an error. If strace makes the call fail, the file
    // stays open, unlike after a real failure. This is harmless: nothing waits for it to be
    // closed.
    {"close", {FileKind::Regular}, "EDQUOT EINTR EIO ENOSPC"},
    {"close", {}, ""},
    {"connect", {}, "EACCES EAGAIN ECONNREFUSED EINTR ENOENT EPERM"},
    {"copy_file_range", {}, "EFBIG EINTR EIO ENOMEM ENOSPC EOPNOTSUPP EPERM EXDEV"},
    {"dup", {}, "EMFILE"},
    {"dup2", {}, "EBUSY EINTR EMFILE"},
    {"dup3", {}, "EBUSY EINTR EMFILE"},
    {"epoll_create1", {}, descriptorErrors},
    {"epoll_ctl", {}, "ENOMEM ENOSPC"},
    {"epoll_pwait", {}, "EINTR"},
    {"epoll_wait", {}, "EINTR"},
    {"eventfd2", {}, "EMFILE ENFILE ENODEV ENOMEM"},
    {"execve",
     {},
     "E2BIG EACCES EAGAIN EIO ELOOP EMFILE ENFILE ENOENT ENOEXEC ENOMEM EPERM "
     "ETXTBSY"},
    {"faccessat", {FileKind::Proc}, procErrors},
    {"faccessat", {}, pathErrors},
    {"faccessat2", {FileKind::Proc}, procErrors},
    {"faccessat2", {}, pathErrors},
    {"fchmod", {}, "EIO EPERM EROFS"},
    {"fchown", {}, "EIO EPERM EROFS"},
    {"fdatasync", {}, "EDQUOT EINTR EIO ENOSPC EROFS"},
    {"flock", {}, "EINTR ENOLCK"},
    {"fstat", {FileKind::Regular}, "EIO ENOMEM EOVERFLOW"},
    {"fstat", {}, "ENOMEM"},
    {"fstatfs", {}, "EINTR EIO ENOMEM ENOSYS"},
    {"fsync", {}, "EDQUOT EINTR EIO ENOSPC EROFS"},
    {"ftruncate", {}, "EFBIG EINTR EIO EPERM"},
    {"getcwd", {}, "ENOENT ENOMEM"},
    {"getdents64", {}, "EIO ENOENT"},
    {"getrandom", {}, "EAGAIN EINTR"},
    {"getsockname", {}, "ENOBUFS"},
    {"getsockopt", {}, "ENOMEM"},
    {"getxattr", {}, "ENODATA ENOTSUP ENOMEM"},
    {"inotify_add_watch", {}, "EACCES ENOENT ENOMEM ENOSPC"},
    {"inotify_init1", {}, descriptorErrors},
    {"ioctl", {FileKind::Socket}, "ENODEV ENOMEM"},
    {"ioctl", {}, ""}, // the number of bytes in a pipe, which the kernel always knows
    {"kill", {}, "ESRCH"},
    {"linkat", {}, changeErrors},
    {"lstat", {}, pathErrors},
    {"madvise", {}, "EAGAIN ENOMEM"},
    {"memfd_create", {}, descriptorErrors},
    {"mkdir", {}, changeErrors},
    {"mmap", {}, "ENOMEM"},
    {"mprotect", {}, "ENOMEM"},
    {"mremap", {}, "ENOMEM"},
    {"munmap", {}, "ENOMEM"},
    {"nanosleep", {}, "EINTR"},
    {"newfstatat", {FileKind::Proc}, procErrors},
    {"newfstatat", {FileKind::Regular}, "EACCES EIO ELOOP ENOENT ENOMEM ENOTDIR EOVERFLOW"},
    {"newfstatat", {}, "ENOMEM"},
    {"openat", {FileKind::Proc}, "EACCES EINTR EMFILE ENFILE ENOENT ENOMEM EPERM ESRCH"},
    {"openat", {}, "EACCES EINTR EIO ELOOP EMFILE ENFILE ENOENT ENOMEM ENOTDIR EPERM"},
    {"openat2", {FileKind::Proc}, "EACCES EINTR EMFILE ENFILE ENOENT ENOMEM EPERM ESRCH"},
    {"openat2", {}, "EACCES EAGAIN EINTR EIO ELOOP EMFILE ENFILE ENOENT ENOMEM ENOTDIR EPERM"},
    {"pidfd_open", {}, "EINVAL EMFILE ENFILE ENODEV ENOMEM ESRCH"},
    {"pidfd_send_signal", {}, "EPERM ESRCH"},
    {"pipe2", {}, "EMFILE ENFILE"},
    {"poll", {}, "EINTR ENOMEM"},
    {"ppoll", {}, "EINTR ENOMEM"},
    {"pread64", {FileKind::Proc}, "EACCES EINTR EIO ENOMEM ESRCH"},
    {"pread64", {}, "EINTR EIO"},
    {"pwrite64", {}, "EDQUOT EFBIG EINTR EIO ENOSPC EPERM"},
    {"read", {FileKind::Proc}, "EACCES EINTR EIO ENOMEM ESRCH"},
    {"read", {FileKind::Pipe}, "EINTR"},
    {"read", {FileKind::EventFd}, "EAGAIN EINTR"},
    {"read", {FileKind::Socket}, "EAGAIN EINTR ENOMEM"},
    {"read", {}, "EINTR EIO"},
    {"readlink", {FileKind::Proc}, procErrors},
    {"readlink", {}, "EACCES EINVAL EIO ELOOP ENOENT ENOMEM ENOTDIR"},
    {"readlinkat", {FileKind::Proc}, procErrors},
    {"readlinkat", {}, "EACCES EINVAL EIO ELOOP ENOENT ENOMEM ENOTDIR"},
    {"recvfrom", {}, "EAGAIN EINTR ENOMEM"},
    {"recvmsg", {}, "EAGAIN EINTR ENOMEM"},
    {"rename", {}, changeErrors},
    {"renameat2", {}, changeErrors},
    {"select", {}, "EINTR ENOMEM"},
    {"sendfile", {}, "EAGAIN EIO ENOMEM"},
    {"sendmsg",
     {FileKind::Datagram},
     "EACCES EAGAIN ECONNREFUSED ECONNRESET EINTR ENOBUFS "
     "ENOENT ENOMEM ENOTCONN EPERM EPIPE"},
    {"sendmsg", {}, "EAGAIN EINTR ENOBUFS ENOMEM"},
    {"sendto",
     {FileKind::Datagram},
     "EACCES EAGAIN ECONNREFUSED ECONNRESET EINTR ENOBUFS ENOENT "
     "ENOMEM ENOTCONN EPERM EPIPE"},
    {"sendto", {}, "EAGAIN EINTR ENOBUFS ENOMEM"},
    {"setpgid", {}, "EPERM"},
    {"setpriority", {}, "EACCES EPERM"},
    {"setrlimit", {}, "EPERM"},
    {"setsid", {}, "EPERM"},
    {"setsockopt", {}, "ENOMEM"},
    {"socket", {}, "EACCES EAFNOSUPPORT EMFILE ENFILE ENOBUFS ENOMEM"},
    {"socketpair", {}, descriptorErrors},
    {"splice", {}, "EAGAIN ENOMEM"},
    {"statfs", {}, "EACCES EINTR EIO ELOOP ENOENT ENOMEM ENOTDIR"},
    {"statx", {FileKind::Proc}, procErrors},
    {"statx", {FileKind::Regular}, "EACCES EIO ELOOP ENOENT ENOMEM ENOTDIR"},
    {"statx", {}, "ENOMEM"},
    {"tgkill", {}, "EAGAIN ESRCH"},
    {"timerfd_create", {}, "EMFILE ENFILE ENODEV ENOMEM"},
    {"unlink", {}, changeErrors},
    {"unlinkat", {}, changeErrors},
    {"vfork", {}, "EAGAIN ENOMEM"},
    // No ECHILD: nobody else waits for the daemon's children.
    {"wait4", {}, "EINTR"},
    {"waitid", {}, "EINTR"},
    // No EAGAIN: no event counter ever gets so high, and no pipe so full, that a write would wait.
    {"write", {FileKind::EventFd}, "EINTR"},
    {"write", {FileKind::Pipe}, "EINTR"},
    {"write", {FileKind::Socket}, "EAGAIN EINTR ENOBUFS ENOMEM"},
    {"write", {}, "EDQUOT EFBIG EINTR EIO ENOSPC EPERM"},
    {"writev", {}, "EDQUOT EFBIG EINTR EIO ENOSPC EPERM"},
};

} // namespace

std::optional<QStringList> errorsOf(const SeenCall &call)
{
    if (leftOut.contains(call.name)) {
        return QStringList();
    }
    if (call.name == "fcntl") {
        // Other uses of fcntl here only set flags of a program's own descriptors.
        return call.text.contains("F_DUPFD") ? QStringList{"EMFILE"} : QStringList();
    }
    static const QRegularExpression writing("O_WRONLY|O_RDWR|O_CREAT");
    for (const Row &row : rows) {
        if (row.call == call.name && (row.kinds.isEmpty() || row.kinds.contains(call.kind))) {
            QStringList errors = QString(row.errors).split(' ', Qt::SkipEmptyParts);
            if (call.name.startsWith("openat") && call.text.contains(writing)) {
                errors += QStringList{"EAGAIN", "EDQUOT", "ENOSPC", "EROFS", "ETXTBSY"};
            }
            return errors;
        }
    }
    return std::nullopt;
}
