// SPDX-License-Identifier: MIT
#include "security/secure_caller_checker.h"

#include "security/caller_environment.h"
#include "security/caller_privilege.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

#include <array>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Process 1 stands for the host; the daemon's own namespaces do not matter.
constexpr qint32 hostPid = 1;

QString procPath(qint32 pid, const QString &entry)
{
    return QString("/proc/%1/%2").arg(pid).arg(entry);
}

/// The target of the link at @p path; empty when it cannot be read.
QByteArray readLink(const QString &path)
{
    std::array<char, 4096> target{};
    const auto length =
        readlink(QFile::encodeName(path).constData(), target.data(), target.size() - 1);
    return length > 0 ? QByteArray(target.data(), static_cast<int>(length)) : QByteArray();
}

QString readNamespaceLink(qint32 pid, const QString &name)
{
    return QString::fromUtf8(readLink(procPath(pid, "ns/" + name)));
}

QString executablePathOf(qint32 pid)
{
    const QString link = procPath(pid, "exe");
    return QFile::exists(link) ? QString::fromLocal8Bit(readLink(link)) : QString();
}

QString firstArgumentOf(qint32 pid)
{
    QFile commandLine(procPath(pid, "cmdline"));
    if (!commandLine.open(QIODevice::ReadOnly)) {
        return {};
    }
    // As a C string: up to the first NUL, or all of it.
    return QString::fromLocal8Bit(commandLine.readAll().constData());
}

bool isSameFile(const QString &path, const QString &otherPath)
{
    struct stat file = {};
    struct stat other = {};
    return stat(QFile::encodeName(path).constData(), &file) == 0 &&
           stat(QFile::encodeName(otherPath).constData(), &other) == 0 &&
           file.st_dev == other.st_dev && file.st_ino == other.st_ino;
}

} // namespace

SecureCallerChecker::SecureCallerChecker(QObject *parent)
    : QObject(parent), allowedExecutables{"/etc/halvex/halvex-desktop-wrapper",
                                          "/usr/sbin/halvex-desktop",
                                          "/var/opt/appdata/halvex/bin/halvex-desktop",
                                          "/opt/appdata/halvex/bin/halvex-desktop"}
{}

int SecureCallerChecker::verifyCaller(const QDBusMessage &message,
                                      const QDBusConnection &connection, bool requireAdmin) const
{
    constexpr int accepted = 0;
    constexpr int refused = 1;

    QDBusConnectionInterface *bus = connection.interface();
    const QString sender = message.service();

    // A failed question yields process id 0.
    const auto pid = static_cast<qint32>(bus->servicePid(sender).value());
    if (pid <= 0) {
        qWarning() << "Failed to get caller PID";
        return refused;
    }
    if (!checkCallerEnvironment(pid)) {
        return refused;
    }
    // The answer is not used: the privilege rule asks for itself. Both the question and the rule
    // belong to every call that gets this far, reading ones included.
    static_cast<void>(bus->serviceUid(sender));
    const bool isPrivileged = halvex::isPrivilegedCaller(bus, sender);
    const bool isFrontEnd = isAllowedExecutable(pid);
    if (!requireAdmin) {
        return isFrontEnd ? accepted : refused;
    }
    // A sender that has left the bus was taken for root above. Unique names are never given twice,
    // so one that still owns its name did so when its user was asked for.
    return isPrivileged && isFrontEnd && bus->isServiceRegistered(sender) ? accepted : refused;
}

bool SecureCallerChecker::checkCallerEnvironment(qint32 pid)
{
    const QString path = procPath(pid, "environ");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qDebug() << "file.open failed" << path;
        return false;
    }
    const QStringList entries = halvex::environmentEntries(file.readAll());
    file.close();
    // Without this, a large environment would be formatted even where nobody is to see it, which
    // takes several times as long as judging it.
    if (QLoggingCategory::defaultCategory()->isDebugEnabled()) {
        qDebug() << "environVars" << entries;
    }
    return !halvex::holdsForbiddenName(entries) && sharesHostNamespaces(pid);
}

bool SecureCallerChecker::sharesHostNamespaces(qint32 pid)
{
    struct Namespace
    {
        const char *name;
        const char *mismatch;
    };
    constexpr std::array<Namespace, 3> namespaces{
        Namespace{"user", "[!] Sandbox detected: User namespace mismatch."},
        Namespace{"mnt", "[!] Sandbox detected: Mount namespace mismatch."},
        Namespace{"pid", "[!] Sandbox detected: Pid namespace mismatch."},
    };
    for (const Namespace &each : namespaces) {
        const QString host = readNamespaceLink(hostPid, each.name);
        const QString caller = readNamespaceLink(pid, each.name);
        if (host.isEmpty() || caller.isEmpty()) {
            qWarning() << "[!] Failed to read namespace for PID:" << pid;
            return false;
        }
        if (host != caller) {
            qWarning() << each.mismatch << "Host:" << host << "Caller:" << caller;
            return false;
        }
    }
    return true;
}

bool SecureCallerChecker::isAllowedExecutable(qint32 pid) const
{
    if (pid <= 0) {
        return false;
    }
    const QString executable = executablePathOf(pid);
    const QString path = executable.isEmpty() ? firstArgumentOf(pid) : executable;
    if (path.isEmpty() || !QFileInfo::exists(path)) {
        return false;
    }
    const QString canonical = QFileInfo(path).canonicalFilePath();
    if (!allowedExecutables.contains(canonical)) {
        return false;
    }
    // The link's text is only a name: that of a deleted program, or one renamed since, may lead to
    // a front end that the caller does not run. A first argument has no file to compare with.
    return executable.isEmpty() || isSameFile(canonical, procPath(pid, "exe"));
}
