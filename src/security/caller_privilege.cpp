// SPDX-License-Identifier: MIT
#include "security/caller_privilege.h"

#include "util/switch_reader.h"

#include <QDBusConnectionInterface>
#include <QDBusReply>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <grp.h>
#include <optional>
#include <pwd.h>
#include <string>
#include <unistd.h>

namespace halvex {
namespace {

/// The separated administrator role that may manage this daemon.
constexpr unsigned separatedAdminUid = 600;

constexpr const char *statusTool = "/usr/sbin/getstatus";
constexpr const char *threeAdminKey = "three admin";

/// Tells whether there is no executable program at @p path.
bool isMissing(const char *path)
{
    return access(path, X_OK) != 0 && (errno == ENOENT || errno == ENOTDIR || errno == EACCES);
}

/// Asks the status tool. Returns nothing if the tool is executable, but could not be started or its
/// output could not be read to the end.
std::optional<bool> readThreeAdminMode()
{
    // With "exec", the shell starts the tool without a fork. A failed fork could stay unnoticed.
    static const std::string command = std::string("exec ") + statusTool;
    const std::optional<bool> isOn = querySwitch(command.c_str(), threeAdminKey);
    // A host without the tool has no separated roles.
    return isOn || !isMissing(statusTool) ? isOn : std::optional(false);
}

} // namespace

bool selfIsAdmin = false;

bool isPrivilegedCaller(QDBusConnectionInterface *bus, const QString &busName,
                        PrivilegeBasis &basis)
{
    if (bus == nullptr) {
        return false;
    }
    basis.uid = bus->serviceUid(busName).value();
    const std::optional<bool> isThreeAdmin = readThreeAdminMode();
    basis.isModeKnown = isThreeAdmin.has_value();
    if (isThreeAdmin.value_or(false)) {
        return basis.uid == separatedAdminUid;
    }
    return isAdminUid(basis.uid);
}

bool isConfirmed(const PrivilegeBasis &basis, QDBusConnectionInterface *bus, const QString &busName)
{
    const QDBusReply<uint> uid = bus->serviceUid(busName);
    return basis.isModeKnown && uid.isValid() && uid.value() == basis.uid;
}

bool isThreeAdminMode()
{
    return readSwitchFromCommand(statusTool, threeAdminKey);
}

bool isAdminUid(unsigned uid)
{
    return uid == 0 || isWheelMemberByUid(uid) == 1;
}

int isWheelMemberByUid(qint64 uid)
{
    errno = 0; // getpwuid() does not set errno if the user does not exist
    const passwd *user = getpwuid(static_cast<uid_t>(uid));
    if (user == nullptr) {
        std::printf("Failed to get passwd struct for %ld: %s\n", static_cast<long>(uid),
                    strerror(errno));
        return -1;
    }
    return isWheelMember(user->pw_name);
}

int isWheelMember(const char *userName)
{
    errno = 0;
    const group *wheel = getgrnam("wheel");
    if (wheel == nullptr) {
        std::printf("Failed to get group for %s: %s\n", "wheel", strerror(errno));
        return -1;
    }
    for (char **member = wheel->gr_mem; *member != nullptr; ++member) {
        if (std::strcmp(*member, userName) == 0) {
            std::printf("%s is sudo group\n", userName);
            return 1;
        }
    }
    return 0;
}

void checkSelfPrivilege()
{
    const unsigned uid = getuid();
    if (isThreeAdminMode() ? uid == 0 : isAdminUid(uid)) {
        selfIsAdmin = true;
    }
}

} // namespace halvex
