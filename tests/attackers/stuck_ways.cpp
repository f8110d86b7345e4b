// SPDX-License-Identifier: MIT
#include "stuck_ways.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <linux/prctl.h>
#include <sched.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::size_t pageBytes = 4096;

[[noreturn]] void fail(const char *what)
{
    std::perror(what);
    std::exit(2);
}

[[noreturn]] void rest()
{
    for (;;) {
        pause();
    }
}

void tell(int ready)
{
    if (write(ready, "", 1) != 1) {
        fail("ready");
    }
}

std::string readProcessFile(int pid, const char *name)
{
    std::ifstream file("/proc/" + std::to_string(pid) + '/' + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The fields of /proc/PID/stat that follow the program's name, which is in parentheses.
std::vector<std::string> statusFieldsOf(int pid)
{
    const std::string text = readProcessFile(pid, "stat");
    std::vector<std::string> fields;
    std::size_t start = text.rfind(')') + 2;
    while (start < text.size()) {
        const std::size_t end = text.find(' ', start);
        fields.push_back(text.substr(start, end - start));
        start = end == std::string::npos ? end : end + 1;
    }
    return fields;
}

/// Makes the kernel take the @p bytes of memory at @p start for this process's environment.
void setEnvironment(const void *start, std::size_t bytes)
{
    // The other areas stay as they are. proc(5) numbers the fields from 1; ours begin with the
    // third, the state.
    const std::vector<std::string> fields = statusFieldsOf(getpid());
    const auto field = [&](std::size_t number) { return std::stoull(fields.at(number - 3)); };
    prctl_mm_map map{};
    map.start_code = field(26);
    map.end_code = field(27);
    map.start_stack = field(28);
    map.start_data = field(45);
    map.end_data = field(46);
    map.start_brk = field(47);
    map.brk = reinterpret_cast<std::uintptr_t>(sbrk(0));
    map.arg_start = field(48);
    map.arg_end = field(49);
    map.env_start = reinterpret_cast<std::uintptr_t>(start);
    map.env_end = map.env_start + bytes;
    map.exe_fd = static_cast<__u32>(-1);
    if (prctl(PR_SET_MM, PR_SET_MM_MAP, &map, sizeof map, 0) != 0) {
        fail("PR_SET_MM_MAP");
    }
}

void *reserve(std::size_t bytes, int protection)
{
    void *area =
        mmap(nullptr, bytes, protection, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (area == MAP_FAILED) {
        fail("mmap");
    }
    return area;
}

/// Maps a page of the file. The process id selects one of 256 pages, so that processes that start
/// one after the other wait for different pages.
void *mapFile(const std::string &path, void *where, int flags)
{
    const off_t offset = static_cast<off_t>(getpid() % 256) << 18U;
    const int file = open(path.c_str(), O_RDWR); // stays open at exec: closing it never returns
    void *area = mmap(where, pageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | flags, file, offset);
    if (file < 0 || area == MAP_FAILED) {
        fail(path.c_str());
    }
    return area;
}

[[noreturn]] void haveUntouchedEnvironment(std::size_t bytes, int ready)
{
    setEnvironment(reserve(bytes, PROT_READ), bytes);
    tell(ready);
    rest();
}

[[noreturn]] void haveEnvironmentOf(const std::string &path, int ready)
{
    void *area = reserve(2 * pageBytes, PROT_READ | PROT_WRITE);
    std::memset(area, 0, pageBytes);
    std::strcpy(static_cast<char *>(area), "PATH=/usr/bin");
    mapFile(path, static_cast<char *>(area) + pageBytes, MAP_FIXED);
    setEnvironment(area, 2 * pageBytes);
    tell(ready);
    rest();
}

/// A write to a page that never arrives, through /proc/self/mem. The kernel holds the mmap_lock for
/// reading meanwhile.
class BlockedWrite
{
public:
    explicit BlockedWrite(const std::string &path)
        : page(mapFile(path, nullptr, 0)), memory(open("/proc/self/mem", O_RDWR | O_CLOEXEC))
    {}

    void run() const
    {
        const char byte = 'x';
        static_cast<void>(
            pwrite(memory, &byte, 1, static_cast<off_t>(reinterpret_cast<std::uintptr_t>(page))));
    }

private:
    void *page;
    int memory;
};

/// Takes the mmap_lock for writing again and again. While this waits for the lock, all other
/// processes that take it wait too.
[[noreturn]] void keepTakingMemoryLock()
{
    for (;;) {
        munmap(reserve(pageBytes, PROT_READ), pageBytes);
    }
}

[[noreturn]] void holdMemoryLock(const std::string &path, int ready)
{
    std::thread writer(&BlockedWrite::run, BlockedWrite(path));
    tell(ready);
    keepTakingMemoryLock();
}

/// Starts a process that shares this process's memory and runs @p work. It is killed when this
/// process exits.
pid_t startWithSharedMemory(int (*work)(void *), void *argument)
{
    constexpr std::size_t stackBytes = 16 * pageBytes;
    char *stack = static_cast<char *>(reserve(stackBytes, PROT_READ | PROT_WRITE));
    const pid_t pid = clone(work, stack + stackBytes, CLONE_VM | SIGCHLD, argument);
    if (pid < 0) {
        fail("clone");
    }
    return pid;
}

/// Executes @p program once the process @p taker waits for the mmap_lock that it shares with this
/// process.
[[noreturn]] void executeDuringWait(pid_t taker, char *program)
{
    std::array<char, 64> path{};
    std::array<char, 512> text{};
    std::snprintf(path.data(), path.size(), "/proc/%d/stat", taker);
    char *arguments[] = {program, nullptr};
    char *environment[] = {nullptr};
    execve("", arguments, environment); // fails; but the dynamic loader now knows the function
    constexpr int enough = 10;
    for (int waits = 0; waits < enough;) {
        usleep(10000);
        const int file = open(path.data(), O_RDONLY | O_CLOEXEC);
        const ssize_t size = read(file, text.data(), text.size());
        close(file);
        const std::string_view status(text.data(),
                                      static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        waits = status.find(") D ") == std::string_view::npos ? 0 : waits + 1;
    }
    execve(program, arguments, environment);
    fail(program);
}

/// Two other processes hold and take the mmap_lock of this process's memory. The kernel takes the
/// exec_update_lock of a process and then waits for this lock.
///
/// From the first wait for the lock, this process must not take the lock itself: it uses only
/// memory that it has touched, and functions that it has called.
[[noreturn]] void holdExecLock(const std::string &path, std::string program, int ready)
{
    // Later, execve() must not wait for the disk: waitsForLock() could not tell the difference.
    std::ifstream file(program);
    const std::string content((std::istreambuf_iterator<char>(file)), {});

    BlockedWrite write(path);
    const pid_t taker = startWithSharedMemory(
        [](void *) -> int {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            keepTakingMemoryLock();
        },
        nullptr);
    startWithSharedMemory(
        [](void *blockedWrite) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            static_cast<const BlockedWrite *>(blockedWrite)->run();
            return 0;
        },
        &write);
    tell(ready);
    executeDuringWait(taker, program.data());
}

void pinToFirstProcessor()
{
    cpu_set_t first;
    CPU_ZERO(&first);
    CPU_SET(0, &first);
    if (sched_setaffinity(0, sizeof first, &first) != 0) {
        fail("sched_setaffinity");
    }
}

void startBusyChild()
{
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(3600); // longer than any test takes
        for (volatile unsigned turns = 0;; turns = turns + 1) {
        }
    }
}

/// The memory takes only page tables, a 512th of its size: each page is the kernel's page of zeros.
[[noreturn]] void starve(std::size_t bytes, int ready)
{
    constexpr int busyChildren = 6;
    void *area = reserve(bytes, PROT_READ);
    if (madvise(area, bytes, MADV_NOHUGEPAGE) != 0 ||
        madvise(area, bytes, MADV_POPULATE_READ) != 0) {
        fail("madvise");
    }
    pinToFirstProcessor();
    for (int i = 0; i < busyChildren; ++i) {
        startBusyChild();
    }
    tell(ready);
    const sched_param none{};
    if (sched_setscheduler(0, SCHED_IDLE, &none) != 0) {
        fail("sched_setscheduler");
    }
    for (;;) {
        mprotect(area, bytes, PROT_NONE);
        mprotect(area, bytes, PROT_READ);
    }
}

/// Tells whether the process @p pid waits for a lock of the kernel: its sleep is not interruptible,
/// and it did not run between two looks at it.
bool waitsForLock(int pid)
{
    const std::string before = readProcessFile(pid, "status");
    usleep(50000);
    return before.find("State:\tD") != std::string::npos &&
           readProcessFile(pid, "status") == before;
}

} // namespace

void getStuck(const std::string &way, const std::vector<std::string> &parameters, int ready)
{
    if (way == "environment") {
        haveUntouchedEnvironment(std::stoull(parameters.at(0)), ready);
    }
    if (way == "environment-of") {
        haveEnvironmentOf(parameters.at(0), ready);
    }
    if (way == "memory-lock") {
        holdMemoryLock(parameters.at(0), ready);
    }
    if (way == "exec-lock") {
        holdExecLock(parameters.at(0), parameters.at(1), ready);
    }
    if (way == "starved") {
        starve(std::stoull(parameters.at(0)) << 30U, ready);
    }
    tell(ready);
    rest();
}

bool isHeldUp(const std::string &way, int pid)
{
    return (way != "memory-lock" && way != "exec-lock") || waitsForLock(pid);
}
