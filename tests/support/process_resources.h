// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// The value in KiB of one line about memory in /proc/PID/status of the process @p pid. @p field is
/// the line's name: "VmRSS" is the current resident memory, "VmHWM" its largest size so far. A
/// missing line is a test failure.
[[nodiscard]] int memoryOf(qint64 pid, const char *field);

/// Programs that this process starts from now on get no transparent huge pages. Otherwise, memory
/// that a program has returned may become resident again as part of a huge page (see khugepaged).
void disableHugePages();

/// How many files the process @p pid has open. If it is this process itself, the directory that the
/// function opens for counting is included.
[[nodiscard]] int openFilesOf(qint64 pid);
