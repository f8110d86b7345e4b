// SPDX-License-Identifier: MIT
#include "support/host_files.h"
#include "support/printing.h"
#include "util/regular_file.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using halvex::openRegularFile;

constexpr const char *path = "/run/file";

/// Expects that the file at the path can be opened neither for reading nor for writing.
void expectRefused()
{
    for (const auto mode : {QIODevice::ReadOnly, QIODevice::WriteOnly}) {
        QFile file;
        EXPECT_FALSE(openRegularFile(file, path, mode));
        EXPECT_FALSE(file.isOpen());
    }
}

TEST(RegularFile, ARegularFileIsRead)
{
    host::writeFile(path, "text");
    QFile file;
    ASSERT_TRUE(openRegularFile(file, path, QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "text");
}

TEST(RegularFile, ARegularFileIsEmptiedAndWrittenInPlace)
{
    host::writeFile(path, "long text", 0604);
    ASSERT_EQ(chown(path, 2001, 2002), 0);
    QFile reader(path);
    ASSERT_TRUE(reader.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    {
        QFile file;
        ASSERT_TRUE(openRegularFile(file, path, QIODevice::WriteOnly));
        EXPECT_EQ(file.size(), 0);
        EXPECT_EQ(file.write("new"), 3);
    }
    EXPECT_EQ(reader.readAll(), "new");
    EXPECT_EQ(host::ownerAndMode(path), "2001:2002 0604");
}

TEST(RegularFile, TheDescriptorIsClosedWithTheFileAndWhenAProgramIsExecuted)
{
    host::writeFile(path, "text");
    for (const auto mode : {QIODevice::ReadOnly, QIODevice::WriteOnly}) {
        int descriptor = -1;
        {
            QFile file;
            ASSERT_TRUE(openRegularFile(file, path, mode));
            descriptor = file.handle();
            EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
        }
        EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
    }
}

TEST(RegularFile, AMissingFileIsRefusedAndNotMade)
{
    expectRefused();
    EXPECT_FALSE(QFile::exists(path));
}

TEST(RegularFile, ADirectoryIsRefused)
{
    ASSERT_EQ(mkdir(path, 0755), 0);
    expectRefused();
}

TEST(RegularFile, AFifoIsRefusedWhetherItsOtherEndIsOpenOrNot)
{
    ASSERT_EQ(mkfifo(path, 0600), 0);
    expectRefused();
    const int otherEnd = open(path, O_RDWR | O_CLOEXEC);
    ASSERT_GE(otherEnd, 0);
    expectRefused();
    close(otherEnd);
}

TEST(RegularFile, ADeviceIsRefused)
{
    ASSERT_EQ(symlink("/dev/zero", path), 0);
    expectRefused();
}

TEST(RegularFile, ASocketIsRefused)
{
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    expectRefused();
    close(listener);
}

TEST(RegularFile, AFileUnderALeaseIsRefusedAtOnce)
{
    host::writeFile(path, "text");
    const int holder = open(path, O_RDONLY | O_CLOEXEC);
    ASSERT_GE(holder, 0);
    // Choose a signal that is ignored: the default one would end this process.
    ASSERT_EQ(fcntl(holder, F_SETSIG, SIGWINCH), 0);
    ASSERT_EQ(fcntl(holder, F_SETLEASE, F_RDLCK), 0);
    QFile file;
    EXPECT_FALSE(openRegularFile(file, path, QIODevice::WriteOnly));
    EXPECT_EQ(host::readFile(path), "text");
    close(holder);
}

} // namespace
