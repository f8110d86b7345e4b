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
///   memory-lock FILE         it waits for a page of FILE, and holds its mmap_lock meanwhile
///   exec-lock FILE PROGRAM   it executes PROGRAM, and holds its exec_update_lock while it waits
///                            for the mmap_lock, which another process holds as above
///   starved GIB              it keeps changing the protection of GIB GiB of memory, while other
///                            processes take its processor time
///   waiting                  it only waits, and other processes can examine it
///
/// Writes one byte to the pipe @p ready once the state is reached. In the ways memory-lock,
/// exec-lock and starved, writes it immediately before. For memory-lock and exec-lock, isHeldUp()
/// tells whether the state is reached. Exits the program on failure.
[[noreturn]] void getStuck(const std::string &way, const std::vector<std::string> &parameters,
                           int ready);

/// Tells whether the process @p pid, which has written its byte, has reached the state @p way.
/// Examines the process only in the ways memory-lock and exec-lock.
bool isHeldUp(const std::string &way, int pid);
