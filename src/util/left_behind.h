// SPDX-License-Identifier: MIT
#pragma once

#include "util/file_descriptor.h"

#include <cstddef>
#include <vector>

namespace halvex {

/// Appends to @p found what refers, as pidfd_open(2) says, to the processes that run this program
/// as root under the name @p name: the workers that earlier daemons have left behind. For a process
/// that has no worker of that name itself. Where `/proc` cannot be read, none is found.
///
/// @param maxCount  how many @p found may hold
void findLeftBehind(const char *name, std::size_t maxCount, std::vector<FileDescriptor> &found);

} // namespace halvex
