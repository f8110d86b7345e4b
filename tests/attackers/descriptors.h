// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Opens what an attacker has others close: "lingering" is a TCP connection to nobody who reads,
/// its buffer full, for which close() waits a minute; anything else is the path of a file.
///
/// Ends the program when that fails.
int openDescriptor(const std::string &kind);
