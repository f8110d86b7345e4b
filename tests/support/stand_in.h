// SPDX-License-Identifier: MIT
//
// Recording stand-ins for the programs that the daemon runs, at the paths where a real host has
// them.
#pragma once

#include "support/printing.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace host {

/// Puts a stand-in at @p path: it records how it is called and then runs @p body under /bin/sh.
void writeStandIn(const QString &path, const QByteArray &body = {});

/// The calls of all stand-ins so far, in order: the program's name and its arguments, each argument
/// after a blank and in angle brackets ("systemctl <is-active> <halvex-ebpf>").
[[nodiscard]] QStringList standInCalls();

/// Waits until there have been @p count calls: a background job may record its call late.
[[nodiscard]] QStringList awaitStandInCalls(int count);

} // namespace host
