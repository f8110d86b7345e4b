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

/// Makes the proxy of the upgrade service and connects its two signals to the slots
/// handleInstallProgress(int,QString,QString) and
/// handleInstallFinished(bool,QStringList,QString,QString) of @p receiver.
///
/// The proxy learns the service's methods and signals from the service itself, once, here: that
/// starts the service if the bus knows how to, and blocks for at most the bus's default time-out.
/// If the service is not there the proxy is made all the same, but without signals (Qt warns of
/// each).
///
/// @return the proxy; null, and nothing else done, without a connection to the system bus
[[nodiscard]] std::unique_ptr<QDBusInterface> connectUpgradeService(QObject *receiver);

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
