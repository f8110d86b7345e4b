// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// A figure of the memory that the process @p pid has, in KiB, by its name in /proc/PID/status:
/// "VmRSS" is what it has now, "VmHWM" the most that it has had. No such figure is a test failure.
[[nodiscard]] int memoryOf(qint64 pid, const char *field);

/// How many files the process @p pid has open. Of the test's own process, the one that is opened to
/// look is among them.
[[nodiscard]] int openFilesOf(qint64 pid);
