// SPDX-License-Identifier: MIT
//
// Gathers the research engine's alert logs, which lie in a tree that only root may read, into one
// file that everyone may read and write. The tree is never changed. Copying blocks for as long as
// the disk takes; memory depends neither on the number and size of the logs nor on their lines.
//
// The export file lies in a directory where every user can plant whatever they like under its name,
// and the daemon is root. So the entry is looked at without being opened. Only a regular file that
// has this name and no other is reused, and all further steps work on the open file. Whatever else
// lies there is never opened, emptied, changed or removed.
//
// Everyone may write to the export, even while it is being made: what somebody writes while a long
// log is copied can be lost, or can displace what is copied.
#pragma once

#include "util/file_descriptor.h"

#include <QByteArray>
#include <QString>

namespace halvex {

/// Writes the lines of all alert logs below @p alertsDirPath to @p exportPath, which holds nothing
/// else afterwards and may then be read and written by everyone.
///
/// Once the export file is prepared the status is 0, however much was found and could be copied; a
/// tree that cannot be walked to its end leaves a debug message, and what was copied stays.
///
/// @return 0 exported; -1 the export file cannot be prepared, without a message
[[nodiscard]] int generateLogFile(const QString &alertsDirPath, const QString &exportPath);

/// Creates the export file, or empties the one that exists whoever owns it, and gives it the mode
/// 0666, whatever the umask.
///
/// Never waits. What is not a regular file, has other names too, has something mounted on it or a
/// lease held on it is left exactly as it is. While the name comes and goes, a few attempts are
/// made. Needs /proc and Linux 5.8, the first to report mount points.
///
/// @return the file, open for appending; nothing open when it could not be prepared
[[nodiscard]] FileDescriptor prepareExportFile(const QByteArray &exportPath);

/// Appends to @p output the lines of every log in the tree below @p alertsDirPath, each ended by a
/// line feed, in the order of the walk.
///
/// A log is a regular file, also one behind a symbolic link, that has the extension @p extension
/// and is not named "alerts.log". One that cannot be opened, or not without waiting, and a link to
/// the export itself are left out in silence. Links to directories are not entered. The first error
/// of the walk ends it with the debug message "Filesystem error: " and its description; the first
/// failed write (a full disk) in silence.
void appendAlertLogs(const QByteArray &alertsDirPath, const QByteArray &extension,
                     const FileDescriptor &output);

} // namespace halvex
