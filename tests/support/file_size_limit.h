// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <sys/resource.h>

/// During its lifetime, limits the size of the files that this process writes. A write that crosses
/// the limit is cut short there, and the next write fails, as on a full disk.
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
