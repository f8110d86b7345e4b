// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>

/// Lets no file of this process grow beyond a few bytes for as long as it lives, as on a full disk.
class ShortFiles
{
public:
    explicit ShortFiles(rlim_t bytes)
    {
        static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit limit = {bytes, before.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }

    ~ShortFiles() { EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0); }

    ShortFiles(const ShortFiles &) = delete;
    ShortFiles &operator=(const ShortFiles &) = delete;

private:
    rlimit before{};
};
