// SPDX-License-Identifier: MIT
//
// Runs /usr/bin/systemctl with the daemon's own environment. No shell is involved. Logs nothing.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace halvex {

/// Has systemctl make a change, and kills it after 30 s. What it prints is not read.
///
/// @return false when systemctl could not be started, took too long, or exited with another code
///         than 0
[[nodiscard]] bool changeWithSystemctl(const QStringList &arguments);

/// Asks systemctl, and waits until it exits however long it takes. The exit code does not count.
///
/// @return the first line that it prints, empty when there is none; nothing when systemctl could
///         not be run
[[nodiscard]] std::optional<QString> askSystemctl(const QStringList &arguments);

} // namespace halvex
