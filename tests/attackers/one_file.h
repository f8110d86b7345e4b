// SPDX-License-Identifier: MIT
//
// A FUSE file system with one regular file.
#pragma once

#define FUSE_USE_VERSION 31
#include <fuse.h>
#include <string>
#include <sys/types.h>

struct OneFile
{
    std::string name;
    mode_t permissions;
    off_t bytes;
};

/// Prints the line @p word, and flushes the output.
void say(const char *word);

/// Mounts the file system at @p directory, prints "ready", and serves @p file by @p operations,
/// which need not have getattr. Calls @p onInput whenever there is input.
///
/// Exits when the input ends, so that no request hangs after the test has ended: the exit also ends
/// every request.
///
/// @return the exit status, after an error or after the file system was unmounted
int serveFile(const OneFile &file, fuse_operations operations, const char *directory,
              void (*onInput)());
