// SPDX-License-Identifier: MIT
//
// The states into which a process can bring itself so that others cannot read what it is.
#pragma once

#include <string>
#include <vector>

/// Brings this process into the state @p way, with its @p parameters, and stays there.
///
///   environment BYTES        its environment is BYTES of memory that was never touched
///   environment-of FILE      its environment goes on in FILE, whose pages never come
///   memory-lock FILE         waits for a page of FILE with the lock of its memory held
///   exec-lock FILE PROGRAM   becomes PROGRAM, but hangs in closing FILE
///   starved GIB              a thread with no processor time changes the protection of so much
///   memory waiting                  nothing special
///
/// Ends the program when that is not possible. @p ready is a pipe to which one byte is written as
/// soon as the state is there or can be waited for by isHeldUp().
[[noreturn]] void getStuck(const std::string &way, const std::vector<std::string> &parameters,
                           int ready);

/// Tells whether the process @p pid, brought into the state @p way, is there.
bool isHeldUp(const std::string &way, int pid);
