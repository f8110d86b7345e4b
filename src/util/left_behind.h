// SPDX-License-Identifier: MIT
#pragma once

#include "util/file_descriptor.h"

#include <cstddef>
#include <vector>

namespace halvex {

/// Finds the workers that earlier daemons have left behind: the processes that run this program as
/// root and have the process name @p name. Appends their pidfds to @p found. Must be called while
/// this daemon itself has no worker of that name. If /proc cannot be read, no process is found.
///
/// @param maxCount  the maximum size of @p found
void findLeftBehind(const char *name, std::size_t maxCount, std::vector<FileDescriptor> &found);

} // namespace halvex
