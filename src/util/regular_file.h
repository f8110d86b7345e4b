// SPDX-License-Identifier: MIT
#pragma once

#include <QFile>
#include <QIODevice>
#include <QString>

namespace halvex {

/// Opens the regular file at @p path, which is never created. Symbolic links are followed.
///
/// Never waits: neither for the other end of a FIFO, nor for a device, nor for the holder of a
/// lease.
///
/// @param file  not open yet; closes the file at its end of life
/// @param mode  ReadOnly; or WriteOnly, which truncates the file
/// @return false when there is no such file, when it cannot be opened, or when it is not a regular
///         file
[[nodiscard]] bool openRegularFile(QFile &file, const QString &path, QIODevice::OpenModeFlag mode);

} // namespace halvex
