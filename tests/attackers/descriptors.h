// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Opens a descriptor that an attacker sends to another process, which then has to close it.
///
/// @param kind  "lingering" for a TCP connection on which close() blocks: its send buffer is full,
///              and its peer does not read. Otherwise the path of a file.
///
/// Exits the program on failure.
int openDescriptor(const std::string &kind);
