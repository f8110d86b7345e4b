// SPDX-License-Identifier: MIT
#include "support/file_size_limit.h"

#include <gtest/gtest.h>

FileSizeLimit::FileSizeLimit(rlim_t bytes)
    : handlerBefore(std::signal(SIGXFSZ, SIG_IGN)) // SIGXFSZ would end the process
{
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit limit{bytes, before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

FileSizeLimit::~FileSizeLimit()
{
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    static_cast<void>(std::signal(SIGXFSZ, handlerBefore));
}
