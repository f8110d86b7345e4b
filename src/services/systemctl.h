// SPDX-License-Identifier: MIT
//
// Runs /usr/bin/systemctl with the daemon's own environment. No shell is involved. Logs nothing.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace halvex {

/// Runs systemctl to make a change. If it has not exited after 30 s, it is killed. Its output is
/// not read.
///
/// @return false if systemctl could not be started, took too long, or exited with a status other
///         than 0
[[nodiscard]] bool changeWithSystemctl(const QStringList &arguments);

/// Runs systemctl to ask a question, and waits for its exit without a time-out. Its exit status is
/// ignored.
///
/// @return the first line of its output, which may be empty; nothing if systemctl could not be run
[[nodiscard]] std::optional<QString> askSystemctl(const QStringList &arguments);

} // namespace halvex
