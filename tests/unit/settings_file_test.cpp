// SPDX-License-Identifier: MIT
#include "config/settings_file.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/printing.h"

#include <QDir>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

constexpr const char *path = "/run/settings";

TEST(SettingsFile, AllBytesAreRead)
{
    const QByteArray bytes("a\r\n\0\xff\n", 6);
    host::writeFile(path, bytes);
    EXPECT_EQ(halvex::readSettingsFile(path), bytes);
}

TEST(SettingsFile, AnEmptyFileIsRead)
{
    host::writeFile(path, "");
    EXPECT_EQ(halvex::readSettingsFile(path), QByteArray());
}

TEST(SettingsFile, AMissingFileOrAFolderIsNot)
{
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
    ASSERT_TRUE(QDir().mkpath(path));
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
}

TEST(SettingsFile, AFileThatFailsWhileItIsReadIsNot)
{
    ASSERT_EQ(symlink("/proc/self/mem", path), 0); // opens, and then fails at its first byte
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
}

TEST(SettingsFile, AFileAtTheLimitIsRead)
{
    host::writeFile(path, "");
    ASSERT_EQ(truncate(path, halvex::largestSettingsFile), 0);
    const std::optional<QByteArray> content = halvex::readSettingsFile(path);
    ASSERT_TRUE(content);
    EXPECT_EQ(content->size(), halvex::largestSettingsFile);
}

TEST(SettingsFile, AFileBeyondTheLimitIsNotReadAndNotMentioned)
{
    const MessageLog log;
    host::writeFile(path, "");
    ASSERT_EQ(truncate(path, halvex::largestSettingsFile + 1), 0);
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
    ASSERT_EQ(truncate(path, off_t(1) << 32), 0);
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
    EXPECT_EQ(log.messages(), QStringList());
}

} // namespace
