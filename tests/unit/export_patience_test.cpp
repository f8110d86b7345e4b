// SPDX-License-Identifier: MIT
//
// The time limit for the writes of an export. Another user can delay each write, so the delays
// count in total. The functions below replace those of the C library, and advance the test clock.
#include "services/test_clock.h"
#include "stats/export_file.h"
#include "util/socket_io.h"
#include "util/worker_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <exception>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using halvex::exportPatienceMs;
using halvex::ExportWriter;
using halvex::FileDescriptor;
using halvex::JobControl;
using halvex::Word;
using std::chrono::milliseconds;

constexpr const char *exportPath = "/tmp/halvex_alerts.log";
constexpr std::size_t blockSize = 1UL << 20; ///< the size of the writer's writes
const std::string block(blockSize, 'x');

/// The time by which one block extends the time limit.
constexpr milliseconds blockTime(blockSize / halvex::minExportBytesPerMs);

int delayedFile = -1;
milliseconds delay; ///< of each write to the delayed file

} // namespace

extern "C" {
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
ssize_t write(int file, const void *bytes, std::size_t size)
{
    if (file == delayedFile) {
        TestClock::advance(delay);
    }
    return syscall(SYS_write, file, bytes, size);
}

/// Copies no more than a block at once.
ssize_t copy_file_range(int from, off64_t *fromOffset, int to, off64_t *toOffset, std::size_t size,
                        unsigned flags)
{
    if (to == delayedFile) {
        TestClock::advance(delay);
    }
    return syscall(SYS_copy_file_range, from, fromOffset, to, toOffset, std::min(size, blockSize),
                   flags);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
}

namespace {

class ExportPatience : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(output.isOpen());
        delayedFile = output.get();
    }

    void TearDown() override { delayedFile = -1; }

    /// Returns the time limits of the writes so far, and expects no limit between two writes.
    [[nodiscard]] std::vector<int> limits() const
    {
        std::vector<int> found;
        bool isLimited = true; // the writer's constructor removes this first limit
        Word word{};
        while (recv(connection[0].get(), &word, sizeof word, MSG_DONTWAIT) == sizeof word) {
            EXPECT_EQ(word.kind, isLimited ? Word::Kind::NoLimit : Word::Kind::Patience);
            if (!isLimited) {
                found.push_back(int(word.value));
            }
            isLimited = !isLimited;
        }
        EXPECT_FALSE(isLimited);
        return found;
    }

    const TestClock clock;
    const FileDescriptor output = halvex::prepareExportFile(exportPath);
    const std::array<FileDescriptor, 2> connection = halvex::makeConnection();
    const JobControl control{connection[1].get()};
    ExportWriter writer{output, exportPath, control, exportPatienceMs};
};

TEST_F(ExportPatience, EachDelayReducesTheTimeLimitOfAllLaterWrites)
{
    delay = blockTime + milliseconds(500);
    for (int i = 0; i < 4; ++i) {
        writer.append(block);
    }
    writer.append("the rest");
    writer.flush();
    const int allowed = int(blockTime.count());
    EXPECT_EQ(limits(),
              (std::vector<int>{2000 + allowed, 1500 + allowed, 1000 + allowed, 500 + allowed, 0}));
}

TEST_F(ExportPatience, EachDelayReducesTheTimeLimitOfACopyWithinTheKernel)
{
    const std::string logPath = "/tmp/a.log";
    const FileDescriptor log(open(logPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    constexpr off_t blocks = 3;
    ASSERT_EQ(ftruncate(log.get(), blocks * off_t(blockSize)), 0);
    delay = blockTime + milliseconds(500);
    ASSERT_EQ(writer.copyWithinKernel(log, blocks * off_t(blockSize)), blocks * off_t(blockSize));
    const int allowed = int(blockTime.count());
    EXPECT_EQ(limits(), (std::vector<int>{2000 + 3 * allowed, 1500 + 2 * allowed, 1000 + allowed}));
}

TEST_F(ExportPatience, WritesThatTakeNoLongerThanAllowedKeepTheTimeLimit)
{
    constexpr int count = 20;
    for (const milliseconds duration : {milliseconds(0), blockTime}) {
        delay = duration;
        for (int i = 0; i < count / 2; ++i) {
            writer.append(block);
        }
    }
    EXPECT_EQ(limits(), std::vector<int>(count, int((exportPatienceMs + blockTime).count())));
}

// --- with a slow reader ---

constexpr int blocks = 40;

std::string writeBlocks(const std::string &path, const JobControl &control)
{
    const FileDescriptor fifo(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    control.setInterimResult("given up");
    try {
        ExportWriter writer(fifo, path, control, exportPatienceMs);
        for (int i = 0; i < blocks; ++i) {
            writer.append(block);
        }
    } catch (const std::exception &error) {
        return error.what();
    }
    return "complete";
}

TEST(DelayedExport, WhoseWritesAreDelayedTooLongInTotalIsGivenUp)
{
    halvex::ExpendableWorker worker("halvex-test");
    constexpr const char *path = "/tmp/fifo";
    ASSERT_EQ(mkfifo(path, 0600), 0);
    const FileDescriptor fifo(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_EQ(fcntl(fifo.get(), F_SETPIPE_SZ, blockSize), int(blockSize));
    std::atomic<bool> isReading = true;
    // Each write waits until the reader has read the previous block, which takes far less than the
    // limit.
    std::thread reader([&] {
        std::string bytes(blockSize, '\0');
        while (isReading) {
            constexpr milliseconds pause(300);
            std::this_thread::sleep_for(pause);
            static_cast<void>(read(fifo.get(), bytes.data(), bytes.size()));
        }
    });
    EXPECT_EQ(worker.run(writeBlocks, path, exportPatienceMs), "given up");
    isReading = false;
    reader.join();
}

} // namespace
