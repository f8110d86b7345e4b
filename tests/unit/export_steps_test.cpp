// SPDX-License-Identifier: MIT
//
// What others do between two steps of the export. The functions below replace functions of the C
// library, so that each of these moments comes in every run.
#include "stats/alert_export.h"
#include "support/file_size_limit.h"
#include "support/host_files.h"
#include "support/printing.h"

#include <QFile>

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

constexpr const char *exportPath = "/tmp/halvex_alerts.log";

/// What somebody else does before each open().
std::function<void(const char *path, int flags)> beforeOpen;

/// Somebody else is removing the export's name: the link count is lowered, and the name is still
/// there. As in the kernel, a rename() in the directory returns only after the name has been
/// removed.
bool isNameBeingRemoved = false;

} // namespace

extern "C" {
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (beforeOpen) {
        beforeOpen(path, flags);
    }
    return int(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

int fstat(int file, struct stat *status) noexcept
{
    const auto result = int(syscall(SYS_newfstatat, file, "", status, AT_EMPTY_PATH));
    status->st_nlink -= isNameBeingRemoved ? 1 : 0;
    return result;
}

int rename(const char *from, const char *to) noexcept
{
    if (isNameBeingRemoved) {
        isNameBeingRemoved = false;
        unlink(exportPath);
    }
    return int(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
}

namespace {

class ExportSteps : public testing::Test
{
protected:
    void TearDown() override
    {
        beforeOpen = nullptr;
        isNameBeingRemoved = false;
    }

    /// From now on, the export's name appears before each of the first @p count attempts to create
    /// it, and vanishes before it is opened.
    static void letTheNameComeAndGo(int count)
    {
        beforeOpen = [count](const char * /*path*/, int flags) mutable {
            if ((flags & O_EXCL) != 0 && count > 0) {
                --count;
                EXPECT_EQ(mknod(exportPath, S_IFREG | 0600, 0), 0);
            } else if ((flags & O_PATH) != 0) {
                EXPECT_EQ(unlink(exportPath), 0);
            }
        };
    }

    static bool isPrepared() { return halvex::prepareExportFile(exportPath).isOpen(); }
};

TEST_F(ExportSteps, ANameThatComesAndGoesNineTimesDoesNotPreventTheExport)
{
    letTheNameComeAndGo(9);
    EXPECT_TRUE(isPrepared());
    EXPECT_EQ(host::ownerAndMode(exportPath), "0:0 0666");
}

TEST_F(ExportSteps, ANameThatComesAndGoesTenTimesPreventsTheExport)
{
    letTheNameComeAndGo(10);
    EXPECT_FALSE(isPrepared());
    EXPECT_FALSE(QFile::exists(exportPath));
}

TEST_F(ExportSteps, AHardLinkThatIsBeingRemovedIsRefused)
{
    host::writeFile("/tmp/victim", "precious\n", 0640);
    ASSERT_EQ(link("/tmp/victim", exportPath), 0);
    isNameBeingRemoved = true;
    EXPECT_FALSE(isPrepared());
    EXPECT_FALSE(QFile::exists(exportPath)) << "the daemon did not wait until the name was removed";
    EXPECT_EQ(host::readFile("/tmp/victim"), "precious\n");
    EXPECT_EQ(host::ownerAndMode("/tmp/victim"), "0:0 0640");
}

TEST_F(ExportSteps, ALogThatTurnsIntoADeviceIsNotRead)
{
    constexpr const char *logPath = "/srv/alerts/a.log";
    host::writeFile(logPath, "alert\n");
    const halvex::FileDescriptor output = halvex::prepareExportFile(exportPath);
    bool isDevice = false;
    beforeOpen = [&isDevice](const char *path, int /*flags*/) {
        if (std::strcmp(path, logPath) == 0) {
            ASSERT_EQ(unlink(logPath), 0);
            isDevice = mknod(logPath, S_IFCHR | 0600, makedev(1, 5)) == 0; // /dev/zero
        }
    };
    const FileSizeLimit limit(1 << 20);
    const halvex::JobControl nobody;
    halvex::ExportWriter writer(output, exportPath, nobody, halvex::exportPatienceMs);
    EXPECT_EQ(halvex::appendAlertLogs("/srv/alerts", ".log", output, writer), "");
    EXPECT_TRUE(isDevice);
    EXPECT_EQ(QFile(exportPath).size(), 0);
}

} // namespace
