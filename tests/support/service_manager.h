// SPDX-License-Identifier: MIT
#pragma once

#include "support/wait_for.h"
#include "util/file_descriptor.h"

#include <QByteArray>
#include <QStringList>

/// Stands in for the service manager during its lifetime, and receives the messages that the daemon
/// sends to it.
class ServiceManager
{
public:
    ServiceManager();

    /// The environment variables that tell the daemon about this service manager. With them, an
    /// idle daemon sends a keep-alive message every second.
    [[nodiscard]] static QStringList variables();

    /// The daemon's next message; empty if none arrives within @p timeoutMs. The socket keeps only
    /// a few messages that have not been taken.
    [[nodiscard]] QByteArray nextMessage(int timeoutMs = patienceMs) const;

    /// Takes all messages that have arrived. Returns whether the daemon asks for a restart by one
    /// of them, WATCHDOG=trigger.
    [[nodiscard]] bool isAskedForRestart() const;

private:
    halvex::FileDescriptor socket;
};
