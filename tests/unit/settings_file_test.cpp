// SPDX-License-Identifier: MIT
#include "config/settings_file.h"
#include "support/file_size_limit.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/printing.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using halvex::WriteResult;
using halvex::writeSettingsFile;

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

TEST(SettingsFile, AMissingFileOrADirectoryIsNotRead)
{
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
    ASSERT_TRUE(QDir().mkpath(path));
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
}

TEST(SettingsFile, AFileWithAReadErrorIsNotRead)
{
    ASSERT_EQ(symlink("/proc/self/mem", path), 0); // opens, but its first byte is unreadable
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
}

TEST(SettingsFile, AFileAtTheLimitIsRead)
{
    host::writeFile(path, "");
    ASSERT_EQ(truncate(path, halvex::maxSettingsFileSize), 0);
    const std::optional<QByteArray> content = halvex::readSettingsFile(path);
    ASSERT_TRUE(content);
    EXPECT_EQ(content->size(), halvex::maxSettingsFileSize);
}

TEST(SettingsFile, AFileBeyondTheLimitIsNotReadAndNotLogged)
{
    const MessageLog log;
    host::writeFile(path, "");
    ASSERT_EQ(truncate(path, halvex::maxSettingsFileSize + 1), 0);
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
    ASSERT_EQ(truncate(path, off_t(1) << 32), 0);
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST(SettingsFile, AFifoIsNeitherReadNorWritten)
{
    ASSERT_EQ(mkfifo(path, 0600), 0);
    EXPECT_EQ(halvex::readSettingsFile(path), std::nullopt);
    EXPECT_EQ(writeSettingsFile(path, "text"), WriteResult::NotOpened);
}

TEST(SettingsFile, AllBytesOfTheFileAreReplaced)
{
    const std::string_view bytes("a\r\n\0\xff\n", 6);
    host::writeFile(path, "much longer than that", 0604);
    ASSERT_EQ(chown(path, 2001, 2002), 0);
    EXPECT_EQ(writeSettingsFile(path, bytes), WriteResult::Written);
    EXPECT_EQ(host::readFile(path), QByteArray(bytes.data(), int(bytes.size())));
    EXPECT_EQ(host::ownerAndMode(path), "2001:2002 0604");
}

TEST(SettingsFile, AnEmptyTextCanBeWritten)
{
    host::writeFile(path, "text");
    EXPECT_EQ(writeSettingsFile(path, {}), WriteResult::Written);
    EXPECT_EQ(host::readFile(path), "");
}

TEST(SettingsFile, AMissingFileIsNotMade)
{
    EXPECT_EQ(writeSettingsFile(path, "text"), WriteResult::NotOpened);
    EXPECT_FALSE(QFile::exists(path));
}

TEST(SettingsFile, AFileThatCannotBeOpenedForWritingIsUntouched)
{
    host::writeFile(path, "text");
    host::makeUnwritable(path);
    EXPECT_EQ(writeSettingsFile(path, "new"), WriteResult::NotOpened);
    EXPECT_EQ(host::readFile(path), "text");
}

TEST(SettingsFile, AWriteErrorAfterSomeBytesIsReportedAsCutOff)
{
    host::writeFile(path, "");
    const FileSizeLimit limit(3);
    EXPECT_EQ(writeSettingsFile(path, "text"), WriteResult::CutOff);
    EXPECT_EQ(host::readFile(path), "tex");
}

} // namespace
