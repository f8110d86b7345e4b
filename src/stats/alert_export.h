// SPDX-License-Identifier: MIT
//
// Copies the research engine's alert logs into one file. Only root may read the tree of these logs;
// every user may read and write the file. The tree is never changed. Copying takes as long as the
// disk needs. The memory used does not depend on the number and size of the logs or their lines.
//
// Every user may write to the export, even while it is being made. Data written by a user while a
// long log is copied can be lost, or can overwrite copied data.
#pragma once

#include "stats/export_file.h"
#include "util/expendable_worker.h"

#include <QString>

#include <filesystem>
#include <string>

namespace halvex {

/// Writes the lines of all alert logs below @p alertsDirPath to @p exportPath. The file is
/// truncated first. Every user may then read and write it.
///
/// If the export file could be prepared, the status is 0, even if logs are missing or could not be
/// copied. The debug message "Filesystem error: " with a description is written if the walk of the
/// tree fails, if a write fails, for example because the disk is full, or if the export is given
/// up. The data that was copied before stays in the file.
///
/// @param worker  does the work; the export is given up if its writes to the export file block for
///                more than exportPatienceMs in total, plus a second for each 32 MiB
/// @return 0 if exported; -1, without a message, if the export file cannot be prepared
[[nodiscard]] int generateLogFile(ExpendableWorker &worker, const QString &alertsDirPath,
                                  const QString &exportPath);

/// Appends to @p output the lines of every log in the tree below @p alertsDirPath, each ended by a
/// line feed, in the order of the walk.
///
/// A log is a regular file, or a symbolic link to one, that has the extension @p extension and is
/// not named "alerts.log". These are skipped without a message: a log that cannot be opened or
/// whose open would block, a link to the export file, and an entry of unknown type. Links to
/// directories are not followed. The function stops at the first error of the walk and at the first
/// failed write.
///
/// @return the description of the error that stopped the function; empty if there was none
[[nodiscard]] std::string appendAlertLogs(const std::filesystem::path &alertsDirPath,
                                          const std::filesystem::path &extension,
                                          const FileDescriptor &output, ExportWriter &writer);

} // namespace halvex
