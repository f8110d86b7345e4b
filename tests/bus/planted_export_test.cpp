// SPDX-License-Identifier: MIT
//
// Any user may create a file at the export's path. Tests what the daemon does with each kind of
// file there, under each setting of the kernel's own protections of shared directories.
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/kernel_protections.h"

#include <QDir>
#include <QFile>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char *exportPath = "/tmp/halvex_alerts.log";
constexpr const char *victimPath = "/tmp/victim";

/// A setting of the kernel's protections.
struct Protections
{
    const char *name;
    bool change; ///< false: keep the machine's settings
    int regular;
    int fifos;
    int links; ///< for symbolic and hard links
};

void PrintTo(const Protections &protections, std::ostream *stream)
{
    *stream << protections.name;
}

class PlantedExport : public DaemonHost, public testing::WithParamInterface<Protections>
{
protected:
    void SetUp() override
    {
        if (GetParam().change && qgetenv("CI") != "true") {
            daemonMayEnd = true;
            GTEST_SKIP() << "changes settings of the machine's kernel: runs only if CI is true";
        }
        DaemonHost::SetUp();
        host::writeFile("/var/log/halvex/logs/alerts/a.log", "alert\n", 0600);
        if (GetParam().change) {
            kernel.emplace();
            kernel->set("protected_regular", GetParam().regular);
            kernel->set("protected_fifos", GetParam().fifos);
            kernel->set("protected_symlinks", GetParam().links);
            kernel->set("protected_hardlinks", GetParam().links);
        }
        startDaemon();
    }

    static struct stat look(const char *path)
    {
        struct stat status = {};
        EXPECT_EQ(lstat(path, &status), 0) << path;
        return status;
    }

    static void makeVictim() { host::writeFile(victimPath, "precious\n", 0640); }

    /// Requests the export and expects a refusal. Neither the file planted at the export's path nor
    /// @p target, which it leads to, may be opened, changed or replaced.
    void expectRefusal(const char *target = exportPath)
    {
        const struct stat plantedBefore = look(exportPath);
        const struct stat targetBefore = look(target);
        const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        ASSERT_GE(inotify_add_watch(watch, target, IN_ALL_EVENTS), 0) << target;
        ASSERT_GE(inotify_add_watch(watch, exportPath, IN_ALL_EVENTS | IN_DONT_FOLLOW), 0);

        EXPECT_EQ(call("generateLogFile", {}, Caller{user::ordinary}), (Reply{-1}));

        std::array<char, 4096> events{};
        EXPECT_EQ(read(watch, events.data(), events.size()), -1) << "a file was opened or changed";
        close(watch);
        expectSame(plantedBefore, look(exportPath));
        expectSame(targetBefore, look(target));
        EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
    }

    static void expectSame(const struct stat &before, const struct stat &after)
    {
        EXPECT_EQ(after.st_ino, before.st_ino);
        EXPECT_EQ(after.st_mode, before.st_mode);
        EXPECT_EQ(after.st_size, before.st_size);
        EXPECT_EQ(after.st_nlink, before.st_nlink);
        EXPECT_EQ(after.st_ctim.tv_sec, before.st_ctim.tv_sec);
        EXPECT_EQ(after.st_ctim.tv_nsec, before.st_ctim.tv_nsec);
    }

    /// Requests the export and expects that it has been made.
    void expectExport()
    {
        EXPECT_EQ(call("generateLogFile", {}, Caller{user::ordinary}), (Reply{0}));
        EXPECT_EQ(host::readFile(exportPath), "alert\n");
        EXPECT_EQ(look(exportPath).st_mode, S_IFREG | 0666U);
        EXPECT_EQ(look(exportPath).st_nlink, 1U);
    }

    std::optional<KernelProtections> kernel;
};

TEST_P(PlantedExport, AMissingFileIsCreatedWithRootAsOwner)
{
    expectExport();
    EXPECT_EQ(look(exportPath).st_uid, 0U);
    const auto first = look(exportPath).st_ino;
    expectExport();
    EXPECT_EQ(look(exportPath).st_ino, first);
}

TEST_P(PlantedExport, AnotherUsersFileIsEmptiedAndReused)
{
    host::writeFile(exportPath, "a longer text of somebody else's\n", 0600);
    ASSERT_EQ(chown(exportPath, user::ordinary, user::ordinary), 0);
    const auto theirs = look(exportPath).st_ino;
    expectExport();
    EXPECT_EQ(look(exportPath).st_ino, theirs);
    EXPECT_EQ(look(exportPath).st_uid, user::ordinary);
}

TEST_P(PlantedExport, AFileWithoutAnyPermissionIsReused)
{
    host::writeFile(exportPath, "old\n", 0000);
    constexpr uid_t withoutAccount = 2999;
    ASSERT_EQ(chown(exportPath, withoutAccount, withoutAccount), 0);
    expectExport();
}

TEST_P(PlantedExport, ASymbolicLinkIsNotFollowed)
{
    makeVictim();
    ASSERT_EQ(symlink(victimPath, exportPath), 0);
    ASSERT_EQ(lchown(exportPath, user::ordinary, user::ordinary), 0);
    expectRefusal(victimPath);
    EXPECT_EQ(host::readFile(victimPath), "precious\n");
}

TEST_P(PlantedExport, ABrokenSymbolicLinkIsRefusedAndItsTargetIsNotCreated)
{
    ASSERT_EQ(symlink("/tmp/nothing", exportPath), 0);
    EXPECT_EQ(call("generateLogFile"), (Reply{-1}));
    EXPECT_FALSE(QFile::exists("/tmp/nothing"));
    EXPECT_EQ(look(exportPath).st_mode & S_IFMT, static_cast<mode_t>(S_IFLNK));
}

TEST_P(PlantedExport, ASymbolicLinkToADirectoryIsNotFollowed)
{
    ASSERT_EQ(mkdir("/tmp/directory", 0755), 0);
    ASSERT_EQ(symlink("/tmp/directory", exportPath), 0);
    expectRefusal("/tmp/directory");
}

TEST_P(PlantedExport, AFifoIsNotWaitedFor)
{
    ASSERT_EQ(mkfifo(exportPath, 0600), 0);
    ASSERT_EQ(chown(exportPath, user::ordinary, user::ordinary), 0);
    expectRefusal();
}

TEST_P(PlantedExport, AFifoWithAReaderIsNotOpened)
{
    ASSERT_EQ(mkfifo(exportPath, 0600), 0);
    const int reader = open(exportPath, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    expectRefusal();
    // If a writer had opened and closed the FIFO, poll() would report it.
    pollfd state = {reader, POLLIN, 0};
    EXPECT_EQ(poll(&state, 1, 0), 0);
    close(reader);
}

TEST_P(PlantedExport, ASocketIsRefused)
{
    const sockaddr_un address = {AF_UNIX, "/tmp/halvex_alerts.log"};
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    expectRefusal();
    close(listener);
}

TEST_P(PlantedExport, ADeviceIsNotOpened)
{
    ASSERT_EQ(host::run({"mount", "-o", "remount,dev", "/tmp"}).exitCode, 0);
    ASSERT_EQ(mknod(exportPath, S_IFCHR | 0600, makedev(1, 3)), 0);
    expectRefusal();
}

TEST_P(PlantedExport, ABlockDeviceIsNotOpened)
{
    ASSERT_EQ(host::run({"mount", "-o", "remount,dev", "/tmp"}).exitCode, 0);
    ASSERT_EQ(mknod(exportPath, S_IFBLK | 0600, makedev(7, 0)), 0);
    expectRefusal();
}

TEST_P(PlantedExport, ADirectoryIsRefused)
{
    ASSERT_EQ(mkdir(exportPath, 0700), 0);
    expectRefusal();
}

TEST_P(PlantedExport, AHardLinkIsRefused)
{
    makeVictim();
    ASSERT_EQ(link(victimPath, exportPath), 0);
    expectRefusal(victimPath);
    EXPECT_EQ(host::readFile(victimPath), "precious\n");
}

TEST_P(PlantedExport, AHardLinkToTheCallersOwnFileIsRefused)
{
    makeVictim();
    ASSERT_EQ(chown(victimPath, user::ordinary, user::ordinary), 0);
    ASSERT_EQ(link(victimPath, exportPath), 0);
    expectRefusal(victimPath);
}

TEST_P(PlantedExport, AFileMountedAtThePathIsRefused)
{
    makeVictim();
    host::writeFile(exportPath, "");
    ASSERT_EQ(host::run({"mount", "--bind", victimPath, exportPath}).exitCode, 0);
    expectRefusal(victimPath);
    EXPECT_EQ(host::readFile(victimPath), "precious\n");
    ASSERT_EQ(host::run({"umount", exportPath}).exitCode, 0);
    expectExport();
}

TEST_P(PlantedExport, AFileSystemMountedAtThePathIsRefused)
{
    ASSERT_EQ(mkdir(exportPath, 0700), 0);
    ASSERT_EQ(host::run({"mount", "-t", "tmpfs", "tmpfs", exportPath}).exitCode, 0);
    expectRefusal();
}

TEST_P(PlantedExport, AFileWhoseOtherHardLinkIsGoneIsReused)
{
    makeVictim();
    ASSERT_EQ(link(victimPath, exportPath), 0);
    expectRefusal(victimPath);
    ASSERT_EQ(unlink(victimPath), 0);
    expectExport();
}

/// Another user's process that owns the export file and holds a lease on it. Opening the file
/// blocks until the lease is released, which this process never does.
class LeaseHolder
{
public:
    explicit LeaseHolder(int lease)
    {
        std::array<int, 2> ready{};
        EXPECT_EQ(pipe2(ready.data(), O_CLOEXEC), 0);
        process = fork();
        if (process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            static_cast<void>(signal(SIGIO, SIG_IGN));
            const int file = open(exportPath, (lease == F_RDLCK ? O_RDONLY : O_RDWR) | O_CLOEXEC);
            const bool done = setuid(user::ordinary) == 0 && fcntl(file, F_SETLEASE, lease) == 0;
            if (write(ready[1], done ? "y" : "n", 1) == 1) {
                while (true) {
                    pause();
                }
            }
            _exit(1);
        }
        char answer = 0;
        EXPECT_EQ(read(ready[0], &answer, 1), 1);
        EXPECT_EQ(answer, 'y') << "the lease was not granted";
        close(ready[0]);
        close(ready[1]);
    }

    ~LeaseHolder()
    {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }

    LeaseHolder(const LeaseHolder &) = delete;
    LeaseHolder &operator=(const LeaseHolder &) = delete;

private:
    pid_t process = -1;
};

TEST_P(PlantedExport, ALeaseIsNotWaitedForAndTheFileStaysUnchanged)
{
    for (const int lease : {F_RDLCK, F_WRLCK}) {
        host::writeFile(exportPath, "old\n", 0600);
        ASSERT_EQ(chown(exportPath, user::ordinary, user::ordinary), 0);
        {
            const LeaseHolder holder(lease);
            const struct stat before = look(exportPath);
            EXPECT_EQ(call("generateLogFile", {}, Caller{user::ordinary}), (Reply{-1}));
            expectSame(before, look(exportPath));
            // The lease must still be held: the kernel revokes a lease if a process has waited too
            // long for it.
            EXPECT_TRUE(host::readFile("/proc/locks").contains("LEASE  BREAKING"))
                << host::readFile("/proc/locks").constData();
        }
        EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
        expectExport();
        ASSERT_EQ(unlink(exportPath), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Kernel, PlantedExport,
                         testing::Values(Protections{"AsTheMachineHasIt", false, 0, 0, 0},
                                         Protections{"Unprotected", true, 0, 0, 0},
                                         Protections{"Protected", true, 1, 1, 1},
                                         Protections{"StrictlyProtected", true, 2, 2, 1}),
                         [](const auto &instance) { return instance.param.name; });

} // namespace
