// SPDX-License-Identifier: MIT
#include "security/secure_caller_checker.h"

#include "security/bus_name_claim.h"
#include "security/caller_environment.h"
#include "security/caller_privilege.h"
#include "security/caller_process.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusReply>
#include <QDebug>
#include <QFile>
#include <QLoggingCategory>

#include <array>
#include <cstddef>

namespace {

/// Qt's name for the gate's connection within the process.
constexpr const char *gateConnectionName = "gate";

using halvex::CallerSurroundings;
using halvex::EnvironmentState;

QString environmentPath(qint32 pid)
{
    return QString("/proc/%1/environ").arg(pid);
}

bool sharesHostNamespaces(const CallerSurroundings &surroundings, qint32 pid)
{
    // In the order of comparedNamespaces.
    constexpr std::array<const char *, halvex::comparedNamespaces.size()> mismatches{
        "[!] Sandbox detected: User namespace mismatch.",
        "[!] Sandbox detected: Mount namespace mismatch.",
        "[!] Sandbox detected: Pid namespace mismatch.",
    };
    for (std::size_t i = 0; i < mismatches.size(); ++i) {
        const QString host = QString::fromUtf8(surroundings.host[i]);
        const QString caller = QString::fromUtf8(surroundings.caller[i]);
        if (host.isEmpty() || caller.isEmpty()) {
            qWarning() << "[!] Failed to read namespace for PID:" << pid;
            return false;
        }
        if (host != caller) {
            qWarning() << mismatches[i] << "Host:" << host << "Caller:" << caller;
            return false;
        }
    }
    return true;
}

} // namespace

SecureCallerChecker::SecureCallerChecker(QObject *parent)
    : QObject(parent), allowedExecutables{"/etc/halvex/halvex-desktop-wrapper",
                                          "/usr/sbin/halvex-desktop",
                                          "/var/opt/appdata/halvex/bin/halvex-desktop",
                                          "/opt/appdata/halvex/bin/halvex-desktop"},
      gateConnection(QDBusConnection::connectToBus(QDBusConnection::SystemBus, gateConnectionName))
{
    if (QDBusConnectionInterface *bus = gateConnection.interface()) {
        bus->setTimeout(halvex::busAnswerTimeoutMs);
        isAnswered = halvex::claimBusName(*bus, halvex::gateBusName);
    }
}

SecureCallerChecker::~SecureCallerChecker()
{
    QDBusConnection::disconnectFromBus(gateConnectionName);
}

int SecureCallerChecker::verifyCaller(const QDBusMessage &message,
                                      const QDBusConnection & /*connection*/, bool requireAdmin)
{
    constexpr int accepted = 0;
    constexpr int refused = 1;

    QDBusConnectionInterface *bus = gateConnection.interface();
    const QString sender = message.service();

    // If the request fails, the process id is 0.
    const auto pid =
        bus != nullptr ? static_cast<qint32>(bus->servicePid(sender).value()) : qint32(0);
    if (pid <= 0) {
        qWarning() << "Failed to get caller PID";
        return refused;
    }
    if (!checkCallerEnvironment(pid)) {
        return refused;
    }
    // This request is part of the gate's fixed sequence. Its reply is not used, because
    // isPrivilegedCaller() makes the same request again. So do not wait for it. Both requests are
    // made for every caller who was not refused above, also for a method that only reads.
    static_cast<void>(bus->asyncCall("GetConnectionUnixUser", sender));
    halvex::PrivilegeBasis basis;
    const bool isPrivileged = halvex::isPrivilegedCaller(bus, sender, basis);
    const bool isFrontEnd = isAllowedExecutable(pid);
    if (!requireAdmin) {
        return isFrontEnd ? accepted : refused;
    }
    // If the bus did not tell the user id, the caller was taken as root above.
    return isPrivileged && isFrontEnd && halvex::isConfirmed(basis, bus, sender) ? accepted
                                                                                 : refused;
}

bool SecureCallerChecker::checkCallerEnvironment(qint32 pid)
{
    // Passing on and formatting a large environment takes time, so do this only if it is logged.
    const bool isLogged = QLoggingCategory::defaultCategory()->isDebugEnabled();
    const CallerSurroundings surroundings = halvex::readSurroundings(worker, pid, isLogged);
    if (surroundings.state == EnvironmentState::NotOpened) {
        qDebug() << "file.open failed" << environmentPath(pid);
        return false;
    }
    if (surroundings.state == EnvironmentState::NotRead) {
        qDebug() << "file.read failed" << environmentPath(pid);
        return false;
    }
    if (isLogged) {
        qDebug() << "environVars" << halvex::environmentEntries(surroundings.environment);
    }
    return surroundings.state == EnvironmentState::Read && sharesHostNamespaces(surroundings, pid);
}

bool SecureCallerChecker::isAllowedExecutable(qint32 pid)
{
    if (pid <= 0) {
        return false;
    }
    const auto path = halvex::readProgramPath(worker, pid);
    return path && allowedExecutables.contains(QFile::decodeName(*path));
}
