// SPDX-License-Identifier: MIT
//
// Who is an administrator. The operating system can run with three separated administrator roles;
// its status tool /usr/sbin/getstatus tells whether it does. With them, one fixed user id
// administers the suite and not even root does; without them, root and the members of the group
// "wheel" do.
//
// Reads the user and group databases, runs the status tool, and waits for it without a limit.
// Messages go to standard output. Main thread only: the database lookups use static buffers.
#pragma once

#include <QString>
#include <QtGlobal>

class QDBusConnectionInterface;

namespace halvex {

/// What isPrivilegedCaller() has based its answer on.
struct PrivilegeBasis
{
    unsigned uid = 0;
    bool isModeKnown = false; ///< whether the status tool could be run and read
};

/// Tells whether the bus client @p busName is an administrator.
///
/// Asks the bus for the client's user id and runs the status tool, both at every call. Without the
/// bus's answer the user id counts as 0, and without the status tool's the roles count as not
/// separated. Before a change is let in, isConfirmed() must find that neither was missing.
///
/// @param basis  what the answer is based on
/// @return false for a null @p bus
[[nodiscard]] bool isPrivilegedCaller(QDBusConnectionInterface *bus, const QString &busName,
                                      PrivilegeBasis &basis);

/// Tells whether the bus, asked again, gives @p busName the user id in @p basis, and whether the
/// administrator mode was known. A unique name belongs to one user for ever.
///
/// @return false also when the bus does not answer, and when the client has left it
[[nodiscard]] bool isConfirmed(const PrivilegeBasis &basis, QDBusConnectionInterface *bus,
                               const QString &busName);

/// Asks the status tool whether the three administrator roles are separated. A tool that is
/// missing, fails or says nothing of it means no.
[[nodiscard]] bool isThreeAdminMode();

/// Tells whether @p uid administers a host without separated roles.
[[nodiscard]] bool isAdminUid(unsigned uid);

/// Looks @p uid up and tells whether its user is a member of the group wheel.
///
/// @return 1 for a member, 0 for none, -1 when there is no such user or group, with a line on
///         standard output
[[nodiscard]] int isWheelMemberByUid(qint64 uid);

/// Tells whether @p userName is named in the member list of the group wheel. A primary group does
/// not count.
///
/// @return 1 for a member, 0 for none, -1 when there is no such group; 1 and -1 leave a line on
///         standard output
[[nodiscard]] int isWheelMember(const char *userName);

/// Whether the daemon itself runs as an administrator, once checkSelfPrivilege() has found so.
extern bool selfIsAdmin;

/// Sets selfIsAdmin when the daemon's own user administers the host; never resets it. With
/// separated roles that is root, not user 600: this is about the daemon, not about a caller.
/// Nothing in the daemon calls it yet.
void checkSelfPrivilege();

} // namespace halvex
