// SPDX-License-Identifier: MIT
#include "util/standard_streams.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

TEST(StandardStreams, StandardErrorNeverBlocksIfItIsASocket)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    const int errors = dup(STDERR_FILENO);
    ASSERT_EQ(dup2(ends[0], STDERR_FILENO), STDERR_FILENO);
    halvex::keepOutputFromBlocking();
    const std::string text(std::size_t(1) << 20, 'x');
    ssize_t written = 0;
    int messages = 0;
    while ((written = write(STDERR_FILENO, text.data(), text.size())) > 0) {
        ++messages;
    }
    ASSERT_EQ(dup2(errors, STDERR_FILENO), STDERR_FILENO);
    EXPECT_EQ(written, -1);
    EXPECT_GT(messages, 0);
    close(errors);
    close(ends[0]);
    close(ends[1]);
}

TEST(StandardStreams, StandardErrorStaysBlockingIfItIsNoSocket)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const int errors = dup(STDERR_FILENO);
    ASSERT_EQ(dup2(ends[1], STDERR_FILENO), STDERR_FILENO);
    halvex::keepOutputFromBlocking();
    EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFL) & O_NONBLOCK, 0);
    ASSERT_EQ(dup2(errors, STDERR_FILENO), STDERR_FILENO);
    close(errors);
    close(ends[0]);
    close(ends[1]);
}

} // namespace
