// SPDX-License-Identifier: MIT
//
// Client of the operating system's upgrade service, com.norva.systemupgrade on the system bus,
// which installs packages. This module only sends the request and keeps no record of running
// installations. Progress and result arrive later, as signals of the service. The daemon itself
// installs nothing.
#pragma once

#include <QDBusInterface>
#include <QStringList>

#include <memory>

class QObject;

namespace halvex {

/// Creates the proxy of the upgrade service and connects its two signals to slots of @p receiver.
///
/// The signals stay connected when the service stops and starts again. A signal is delivered only
/// if it comes from the current owner of the service's name and has the service's object path,
/// interface and types. A signal that arrives during installPackages() is delivered afterwards, by
/// the event loop.
///
/// During this call, the proxy introspects the service. This starts the service if the bus can
/// activate it, and takes at most the bus's default time-out of 25 s. The proxy is created even if
/// the service is not running.
///
/// @param progressSlot  SLOT() text of a slot (int,QString,QString): percent, status, details
/// @param finishedSlot  SLOT() text of a slot (bool,QStringList,QString,QString): success,
///                      packages, error code, error message
/// @return the proxy; null, with nothing connected, if there is no connection to the system bus
[[nodiscard]] std::unique_ptr<QDBusInterface>
connectUpgradeService(QObject *receiver, const char *progressSlot, const char *finishedSlot);

/// Asks the upgrade service to install @p packages, if all of them are in the allow-list. The names
/// are sent unchanged. Blocks until the service answers, for at most the proxy's time-out.
///
/// @param upgradeInterface  the proxy; may be null
/// @return - the first value of the reply as a number, or 0 if the value is not a number; the reply
///           must have at least two values, which the debug message "receive message" shows
///         - -1 with two warnings if the list is rejected: the reason, and "Invalid package list:"
///           with the list
///         - -1 with the debug message "no found SystemUpdateInterface" if there is no proxy
///         - -1 with the debug message "Error occurred:" and the error's text if the reply is an
///           error, if the service is not running, or if it does not answer in time
///         - -2 with the debug message "no receive reply message" for a reply of fewer than two
///           values, which is not from a genuine upgrade service
///         - -3 without a message if the service declares that this method never replies
[[nodiscard]] int installPackages(QDBusInterface *upgradeInterface, const QStringList &packages);

} // namespace halvex
