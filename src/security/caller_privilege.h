// SPDX-License-Identifier: MIT
//
// Checks who is an administrator. The operating system can separate the roles of three
// administrators; its status tool /usr/sbin/getstatus tells whether they are separated. If they
// are, one fixed user id administers the suite, and root does not. If they are not, root and the
// members of the group "wheel" are administrators.
//
// Reads the user and group databases, runs the status tool, and waits for it without a limit.
// Messages go to standard output. Main thread only: the database lookups use static buffers.
#pragma once

#include <QString>
#include <QtGlobal>

class QDBusConnectionInterface;

namespace halvex {

/// The facts on which the answer of isPrivilegedCaller() is based.
struct PrivilegeBasis
{
    unsigned uid = 0;
    bool isModeKnown = false; ///< whether the status tool could be run and read
};

/// Tells whether the bus client @p busName is an administrator.
///
/// Asks the bus for the client's user id and runs the status tool, both at every call. If the bus
/// does not answer, the user id is taken as 0. If the status tool does not answer, the roles are
/// taken as not separated. So a change is allowed only if isConfirmed() returns true as well.
///
/// @param basis  receives the facts that were used
/// @return false for a null @p bus
[[nodiscard]] bool isPrivilegedCaller(QDBusConnectionInterface *bus, const QString &busName,
                                      PrivilegeBasis &basis);

/// Asks the bus again for the user id of @p busName. Returns true if the answer is the user id in
/// @p basis, and if the status tool could be run and read.
///
/// The user of a unique name never changes. So if the answers differ, the first question had
/// failed, and the user id 0 in @p basis was not an answer.
///
/// @return false also if the bus does not answer, or if the client has left the bus
[[nodiscard]] bool isConfirmed(const PrivilegeBasis &basis, QDBusConnectionInterface *bus,
                               const QString &busName);

/// Asks the status tool whether the three administrator roles are separated. If the tool is
/// missing, cannot be started or does not mention these roles, the answer is no.
[[nodiscard]] bool isThreeAdminMode();

/// Tells whether @p uid is an administrator on a host without separated roles.
[[nodiscard]] bool isAdminUid(unsigned uid);

/// Looks @p uid up and tells whether its user is a member of the group wheel.
///
/// @return 1 for a member, 0 for a user who is not a member, -1 if there is no such user or group;
///         for 1 and -1, a line is printed on standard output
[[nodiscard]] int isWheelMemberByUid(qint64 uid);

/// Tells whether @p userName is in the member list of the group wheel. The user's primary group is
/// ignored.
///
/// @return 1 for a member, 0 for a user who is not a member, -1 if there is no such group; for 1
///         and -1, a line is printed on standard output
[[nodiscard]] int isWheelMember(const char *userName);

/// Whether the daemon itself runs as an administrator; set by checkSelfPrivilege().
extern bool selfIsAdmin;

/// Sets selfIsAdmin if the daemon's own user is an administrator. Never resets it. If the roles are
/// separated, root counts as the administrator here, not user 600, because this function checks the
/// daemon and not a caller. The daemon does not call it yet (see ARCHITECTURE.md).
void checkSelfPrivilege();

} // namespace halvex
