// SPDX-License-Identifier: MIT
#pragma once

#include <QFile>
#include <QIODevice>
#include <QString>

namespace halvex {

/// Opens the regular file at @p path. Never creates the file. Follows symbolic links.
///
/// Never waits for the other end of a FIFO, for a device, or for the holder of a lease.
///
/// @param file  must not be open yet; its destructor closes the file
/// @param mode  ReadOnly; or WriteOnly, which truncates the file
/// @return false if there is no such file, if it cannot be opened, or if it is not a regular file
[[nodiscard]] bool openRegularFile(QFile &file, const QString &path, QIODevice::OpenModeFlag mode);

} // namespace halvex
