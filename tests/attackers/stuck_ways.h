// SPDX-License-Identifier: MIT
//
// States of a process in which other processes cannot examine it through /proc.
#pragma once

#include <string>
#include <vector>

/// Brings this process into the state @p way, with its @p parameters, and stays there.
///
///   environment BYTES        its environment is BYTES of memory that was never touched
///   environment-of FILE      its environment extends into FILE, whose pages never arrive
///   memory-lock FILE         it waits for a page of FILE while it holds its memory lock
///   exec-lock FILE PROGRAM   it executes PROGRAM, but hangs when FILE is closed
///   starved GIB              it changes the protection of GIB of memory, without processor time
///   waiting                  it only waits, which others can see
///
/// Writes one byte to the pipe @p ready once the state is reached, or once isHeldUp() can tell.
/// Exits the program on failure.
[[noreturn]] void getStuck(const std::string &way, const std::vector<std::string> &parameters,
                           int ready);

/// Tells whether the process @p pid has reached the state @p way.
bool isHeldUp(const std::string &way, int pid);
