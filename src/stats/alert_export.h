// SPDX-License-Identifier: MIT
//
// Gathers the research engine's alert logs, which lie in a tree that only root may read, into one
// file that everyone may read and write. The tree is never changed. Copying blocks for as long as
// the disk takes; memory depends neither on the number and size of the logs nor on their lines.
//
// Everyone may write to the export, even while it is being made: what somebody writes while a long
// log is copied can be lost, or can displace what is copied.
#pragma once

#include "stats/export_file.h"
#include "util/expendable_worker.h"

#include <QString>

#include <filesystem>
#include <string>

namespace halvex {

/// Writes the lines of all alert logs below @p alertsDirPath to @p exportPath, which holds nothing
/// else afterwards and may then be read and written by everyone.
///
/// Once the export file is prepared the status is 0, however much was found and could be copied. A
/// tree that cannot be walked to its end, a failed write (a full disk) and an export that is given
/// up each leave the debug message "Filesystem error: " and a description; what was copied stays.
///
/// @param worker  does the work; given up when its writes to the export file are held up for more
///                than exportPatience in total
/// @return 0 exported; -1 the export file cannot be prepared, without a message
[[nodiscard]] int generateLogFile(ExpendableWorker &worker, const QString &alertsDirPath,
                                  const QString &exportPath);

/// Appends to @p output the lines of every log in the tree below @p alertsDirPath, each ended by a
/// line feed, in the order of the walk.
///
/// A log is a regular file, also one behind a symbolic link, that has the extension @p extension
/// and is not named "alerts.log". One that cannot be opened, or not without waiting, a link to the
/// export itself, and an entry whose type cannot be found out are left out in silence. Links to
/// directories are not entered. The first error of the walk and the first failed write end it.
///
/// @return the description of the error that ended it; empty when there was none
[[nodiscard]] std::string appendAlertLogs(const std::filesystem::path &alertsDirPath,
                                          const std::filesystem::path &extension,
                                          const FileDescriptor &output, ExportWriter &writer);

} // namespace halvex
