// SPDX-License-Identifier: MIT
#pragma once

#include "util/file_descriptor.h"

#include <cstddef>
#include <vector>

namespace halvex {

/// Appends to @p found the pidfds of the processes that run this program as root with the process
/// name @p name: the workers that earlier daemons have left behind. Must be called while the caller
/// has no worker of that name itself. If /proc cannot be read, none is found.
///
/// @param maxCount  the maximum size of @p found
void findLeftBehind(const char *name, std::size_t maxCount, std::vector<FileDescriptor> &found);

} // namespace halvex
