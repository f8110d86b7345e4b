// SPDX-License-Identifier: MIT
#include "config/block_time.h"
#include "config/settings_file.h"
#include "support/file_size_limit.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/printing.h"
#include "support/settings_paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextCodec>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char *path = settings::blockTimePath;

class BlockTime : public testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(log.messages(), QStringList()); }

    /// The timeout in a file that holds @p content.
    static int timeoutIn(const QByteArray &content)
    {
        host::writeFile(path, content);
        int timeout = 12345;
        EXPECT_EQ(halvex::readBlockTimeout(path, timeout), 0);
        return timeout;
    }

    /// The content of a file with @p content after @p value has been written.
    static QByteArray rewritten(const QByteArray &content, const QString &value)
    {
        host::writeFile(path, content);
        EXPECT_EQ(halvex::writeBlockTimeout(path, value), 0);
        return host::readFile(path);
    }

    MessageLog log;
};

TEST_F(BlockTime, TheFirstTimeoutLineCounts)
{
    EXPECT_EQ(timeoutIn("# block time\n\nTIMEOUT=\"timeout 600s\"\nTIMEOUT=\"timeout 1s\"\n"), 600);
    EXPECT_EQ(timeoutIn("TIMEOUT=\nTIMEOUT=\"timeout 600s\"\n"), -2);
    EXPECT_EQ(timeoutIn(" TIMEOUT=5\ntimeout=6\nTIMEOUT=7"), 7);
}

TEST_F(BlockTime, WithoutATimeoutLineTheTimeoutIsZero)
{
    EXPECT_EQ(timeoutIn("# nothing\n"), 0);
    EXPECT_EQ(timeoutIn(""), 0);
    EXPECT_EQ(timeoutIn("TIMEOUT=\"timeout 0s\"\n"), 0);
}

TEST_F(BlockTime, AnUnparsableValueFails)
{
    int timeout = 12345;
    host::writeFile(path, "TIMEOUT=for ever\nTIMEOUT=1\n");
    EXPECT_EQ(halvex::readBlockTimeout(path, timeout), -1);
    host::writeFile(path, "TIMEOUT=\"timeout 2147483648s\"\n");
    EXPECT_EQ(halvex::readBlockTimeout(path, timeout), -1);
    EXPECT_EQ(timeout, 12345);
}

TEST_F(BlockTime, AMissingFileFailsAndIsNotMade)
{
    int timeout = 12345;
    EXPECT_EQ(halvex::readBlockTimeout(path, timeout), -1);
    EXPECT_EQ(halvex::writeBlockTimeout(path, "5s"), -1);
    EXPECT_EQ(timeout, 12345);
    EXPECT_FALSE(QFile::exists(path));
}

TEST_F(BlockTime, ADirectoryInTheFilesPlaceFails)
{
    ASSERT_TRUE(QDir().mkpath(path));
    int timeout = 0;
    EXPECT_EQ(halvex::readBlockTimeout(path, timeout), -1);
    EXPECT_EQ(halvex::writeBlockTimeout(path, "5s"), -1);
}

TEST_F(BlockTime, EveryTimeoutLineIsRewrittenAndNoOtherLine)
{
    EXPECT_EQ(rewritten("# TIMEOUT=\"timeout 1s\"\n"
                        "TIMEOUT=\"timeout 1s\"\n"
                        "\n"
                        "  other = 2 \n"
                        "TIMEOUT=\n"
                        "TIMEOUT=600\n"
                        "TIMEOUT=\"timeout 3s\" # old\n",
                        "900s"),
              "# TIMEOUT=\"timeout 1s\"\n"
              "TIMEOUT=\"timeout 900s\"\n"
              "\n"
              "  other = 2 \n"
              "TIMEOUT=\"timeout 900s\"\n"
              "TIMEOUT=600\n"
              "TIMEOUT=\"timeout 900s\"\n");
}

TEST_F(BlockTime, AFileWithoutATimeoutLineIsRewrittenUnchanged)
{
    EXPECT_EQ(rewritten("a\n\nb\n\n", "900s"), "a\n\nb\n\n");
    EXPECT_EQ(rewritten("", "900s"), "");
    EXPECT_EQ(rewritten("\n", "900s"), "\n");
}

TEST_F(BlockTime, AMissingLastLineFeedIsAdded)
{
    EXPECT_EQ(rewritten("a\nTIMEOUT=", "900s"), "a\nTIMEOUT=\"timeout 900s\"\n");
    EXPECT_EQ(rewritten("a", "900s"), "a\n");
}

TEST_F(BlockTime, CarriageReturnsAreLost)
{
    EXPECT_EQ(rewritten("a\r\nTIMEOUT=\"timeout 1s\"\r\nb\r\n", "900s"),
              "a\nTIMEOUT=\"timeout 900s\"\nb\n");
    EXPECT_EQ(timeoutIn("TIMEOUT=\r\n"), -2);
}

TEST_F(BlockTime, TextIsInTheLocalesCodec)
{
    EXPECT_EQ(rewritten("# zw\xc3\xb6lf \xf0\x9f\x98\x80\nTIMEOUT=\n", "ö"),
              "# zw\xc3\xb6lf \xf0\x9f\x98\x80\nTIMEOUT=\"timeout \xc3\xb6\"\n");
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    EXPECT_EQ(rewritten("# zw\xf6lf\nTIMEOUT=\n", "ö"), "# zw\xf6lf\nTIMEOUT=\"timeout \xf6\"\n");
}

TEST_F(BlockTime, ALineFeedInAValueIsWritten)
{
    EXPECT_EQ(rewritten("TIMEOUT=\n", "1s\"\nTIMEOUT=\"2"),
              "TIMEOUT=\"timeout 1s\"\nTIMEOUT=\"2\"\n");
}

TEST_F(BlockTime, OwnerAndModeAreKept)
{
    host::writeFile(path, "TIMEOUT=\n", 0604);
    ASSERT_EQ(chown(path, 2001, 2002), 0);
    EXPECT_EQ(halvex::writeBlockTimeout(path, "900s"), 0);
    EXPECT_EQ(host::ownerAndMode(path), "2001:2002 0604");
}

TEST_F(BlockTime, AFileThatCannotBeWrittenFails)
{
    host::writeFile(path, "TIMEOUT=\n");
    host::makeUnwritable(path);
    EXPECT_EQ(halvex::writeBlockTimeout(path, "900s"), -1);
    EXPECT_EQ(host::readFile(path), "TIMEOUT=\n");
}

TEST_F(BlockTime, AFileWithAReadErrorIsNeitherReadNorRewritten)
{
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
    ASSERT_EQ(symlink("/proc/self/mem", path), 0); // opens, but its first byte is unreadable
    int timeout = 12345;
    EXPECT_EQ(halvex::readBlockTimeout(path, timeout), -1);
    EXPECT_EQ(timeout, 12345);
    EXPECT_EQ(halvex::writeBlockTimeout(path, "900s"), -1);
}

TEST_F(BlockTime, AFifoIsNeitherReadNorRewritten)
{
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
    ASSERT_EQ(mkfifo(path, 0600), 0);
    int timeout = 12345;
    EXPECT_EQ(halvex::readBlockTimeout(path, timeout), -1);
    EXPECT_EQ(halvex::writeBlockTimeout(path, "900s"), -1);
}

TEST_F(BlockTime, AFileBeyondTheLimitIsNeitherReadNorRewritten)
{
    constexpr qint64 size = halvex::maxSettingsFileSize + 1;
    host::writeFile(path, "TIMEOUT=\n");
    ASSERT_EQ(truncate(path, size), 0);
    int timeout = 12345;
    EXPECT_EQ(halvex::readBlockTimeout(path, timeout), -1);
    EXPECT_EQ(halvex::writeBlockTimeout(path, "900s"), -1);
    EXPECT_EQ(QFileInfo(path).size(), size);
}

TEST_F(BlockTime, AWriteErrorAfterSomeBytesIsNotReported)
{
    const QByteArray text(100000, 'x');
    const FileSizeLimit limit(60000);
    EXPECT_EQ(rewritten("# first\nTIMEOUT=\n", text),
              ("# first\nTIMEOUT=\"timeout " + text).left(60000));
}

TEST_F(BlockTime, AFullDiskIsNotReported)
{
    host::writeFile(path, "TIMEOUT=\n");
    const FileSizeLimit limit(0);
    EXPECT_EQ(halvex::writeBlockTimeout(path, "900s"), 0);
    EXPECT_EQ(host::readFile(path), "");
}

TEST_F(BlockTime, AFileOf64MiBIsReadAndWritten)
{
    const QByteArray long_(64 << 20, 'x');
    EXPECT_EQ(timeoutIn(long_ + "\nTIMEOUT=5"), 5);
    EXPECT_TRUE(rewritten(long_ + "\nTIMEOUT=", "5s") == long_ + "\nTIMEOUT=\"timeout 5s\"\n");
    host::writeFile(path, "TIMEOUT=" + long_ + "\n");
    int timeout = 0;
    EXPECT_EQ(halvex::readBlockTimeout(path, timeout), -1);
}

} // namespace
