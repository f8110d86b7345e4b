// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <sys/resource.h>

/// Lets this process write files up to some size only, for as long as it lives: a write that goes
/// beyond is cut there, and the next one fails, as on a full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
    rlimit before{};
    sighandler_t handlerBefore;
};
