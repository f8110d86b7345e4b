// SPDX-License-Identifier: MIT
#pragma once

#include "support/wait_for.h"
#include "util/file_descriptor.h"

#include <QByteArray>
#include <QStringList>

/// Takes the place of the service manager for as long as it lives: hears the daemon's signs of
/// life.
class ServiceManager
{
public:
    ServiceManager();

    /// What the daemon has to find in its environment. An idle one gives a sign of life each
    /// second.
    [[nodiscard]] static QStringList variables();

    /// What the daemon says next; empty when it stays silent for @p timeoutMs. Of what nobody asks
    /// for, only a few messages are kept.
    [[nodiscard]] QByteArray nextMessage(int timeoutMs = patienceMs) const;

private:
    halvex::FileDescriptor socket;
};
