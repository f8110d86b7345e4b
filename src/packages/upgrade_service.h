// SPDX-License-Identifier: MIT
//
// The operating system's upgrade service, com.norva.systemupgrade on the system bus, which does the
// installing. This module asks it to and keeps no record of what is under way; progress and result
// come later, as the service's signals. Nothing is ever installed from here.
#pragma once

#include <QDBusInterface>
#include <QStringList>

#include <memory>

class QObject;

namespace halvex {

/// Makes the proxy of the upgrade service and connects its two signals to slots of @p receiver.
///
/// The signals are heard from now on, whenever the service comes, goes or comes again: from the
/// owner of its name at that moment and from nobody else, and only with the service's own object
/// path, interface and types. A signal that arrives during installPackages() is delivered later, by
/// the event loop.
///
/// The proxy learns the service's methods from the service itself, once, here: that starts the
/// service if the bus knows how to, and blocks for at most the bus's default time-out, 25 s. If the
/// service is not there, the proxy is made all the same.
///
/// @param progressSlot  SLOT() text of a slot (int,QString,QString): percent, status, details
/// @param finishedSlot  SLOT() text of a slot (bool,QStringList,QString,QString): success,
///                      packages, error code, error message
/// @return the proxy; null, and nothing else done, without a connection to the system bus
[[nodiscard]] std::unique_ptr<QDBusInterface>
connectUpgradeService(QObject *receiver, const char *progressSlot, const char *finishedSlot);

/// Has the upgrade service install @p packages, exactly as they are given, if the allow-list holds
/// them all. Blocks until the service answers, for at most the proxy's time-out.
///
/// @param upgradeInterface  the proxy; may be null
/// @return the service's own answer, the first of two or more values as a number (0 when it is
///         none), after the debug message "receive message" and the values;
///         -1 with a warning when the list is rejected; with the debug message "no found
///         SystemUpdateInterface" when there is no proxy; with "Error occurred:" and the error's
///         text when the answer is an error, the service is not running, or it stays silent;
///         -2 with the debug message "no receive reply message" for an answer of fewer than two
///         values, which is not this service's;
///         -3 without a message when there is no answer to wait for: the service declares the
///         method as one that never replies
[[nodiscard]] int installPackages(QDBusInterface *upgradeInterface, const QStringList &packages);

} // namespace halvex
