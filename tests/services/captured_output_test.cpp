// SPDX-License-Identifier: MIT
//
// Programs that print much, and background jobs that keep their outputs open or close them.
#include "services/service_control.h"
#include "services/service_status.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/process_resources.h"
#include "support/stand_in.h"
#include "support/wait_for.h"
#include "util/command_runner.h"
#include "util/output_pipe.h"

#include <QElapsedTimer>
#include <QFile>

#include <gmock/gmock.h>

#include <unistd.h>

namespace {

constexpr int number = 5;
constexpr int kibibytesPrinted = 1 << 20; // 1 GiB
const QByteArray printing = "head -c 600M /dev/zero; head -c 424M /dev/zero >&2";

/// A run that waits for its background job takes at least this long. On a busy machine, a run that
/// does not wait may take as long, but not every one of many runs.
constexpr int jobWaitMs = 500;
constexpr int manyJobs = 30;

class CapturedOutput : public testing::Test
{
protected:
    void SetUp() override
    {
        host::writeStandIn("/usr/bin/systemctl", "echo active; " + printing);
        peakBefore = memoryOf(getpid(), "VmHWM");
    }

    /// Expects that only a small part of the output has ever been in memory.
    void expectLittleMemory() const
    {
        EXPECT_LT(memoryOf(getpid(), "VmHWM") - peakBefore, kibibytesPrinted / 4);
    }

    bool run(const QString &command)
    {
        halvex::commandTable = {{number, command}};
        return halvex::runCommand(number, output, errorText);
    }

    /// Runs @p command, which starts a job that prints "failed", until many runs have been quick.
    void expectManyQuickRuns(const QString &command)
    {
        int quickRuns = 0;
        EXPECT_TRUE(waitFor([&] {
            QElapsedTimer timer;
            timer.start();
            EXPECT_TRUE(run(command));
            EXPECT_EQ(output, "failed\n");
            quickRuns += timer.elapsed() < jobWaitMs ? 1 : 0;
            return quickRuns == manyJobs;
        })) << "only "
            << quickRuns << " runs did not wait";
    }

    QString output = "untouched";
    QString errorText = "untouched";
    MessageLog log; ///< keeps long messages out of the report

private:
    int peakBefore = 0;
};

TEST_F(CapturedOutput, ACommandThatPrintsOneGibibyteNeedsLittleMemory)
{
    EXPECT_FALSE(run(printing + "; exit 3"));
    expectLittleMemory();
    EXPECT_EQ(output.size(), halvex::maxCapturedBytes);
    EXPECT_EQ(errorText.size(), halvex::maxCapturedErrorBytes);
}

TEST_F(CapturedOutput, ACommandThatPrintsTooMuchExitsByItselfAndSucceeds)
{
    EXPECT_TRUE(run("printf first; head -c 20M /dev/zero; echo ended >/run/ended"));
    EXPECT_EQ(host::readFile("/run/ended"), "ended\n");
    EXPECT_EQ(output.size(), halvex::maxCapturedBytes);
    EXPECT_TRUE(output.startsWith("first"));
}

TEST_F(CapturedOutput, AQueryWhoseAnswerIsFollowedByOneGibibyteNeedsLittleMemory)
{
    EXPECT_EQ(halvex::getServiceStatus("halvex-ebpf", 0), 1);
    expectLittleMemory();
}

TEST_F(CapturedOutput, AChangeThatPrintsOneGibibyteNeedsLittleMemory)
{
    EXPECT_EQ(halvex::setServiceStatus("halvex-ebpf", 1, 0, "/etc/engine.yaml"), 0);
    EXPECT_EQ(halvex::restartService("halvex-ebpf"), 0);
    expectLittleMemory();
}

TEST_F(CapturedOutput, ABackgroundJobThatNeverStopsPrintingNeedsLittleMemoryAndIsNotWaitedFor)
{
    EXPECT_TRUE(run("yes &"));
    expectLittleMemory();
    EXPECT_GE(output.size(), 2);
    EXPECT_LE(output.size(), halvex::maxCapturedBytes);
}

TEST_F(CapturedOutput, AProgramLeftBehindThatNeverStopsPrintingIsNotWaitedFor)
{
    host::writeStandIn("/usr/bin/systemctl", "echo active; yes & yes >&2 &\n");
    EXPECT_EQ(halvex::getServiceStatus("halvex-ebpf", 0), 1);
    EXPECT_TRUE(run("yes & yes >&2 & true"));
}

TEST_F(CapturedOutput, ABackgroundJobThatHasExitedIsNotWaitedFor)
{
    expectManyQuickRuns("echo failed &");
}

TEST_F(CapturedOutput, ABackgroundJobThatHasClosedItsOutputsIsNotWaitedFor)
{
    expectManyQuickRuns("(echo failed; exec sleep 1000 >/dev/null 2>&1) &");
}

TEST_F(CapturedOutput, TheEndOfABackgroundJobThatKeepsOneOutputOpenIsNotWaitedFor)
{
    EXPECT_TRUE(run("(exec 2>&-; sleep 1000; echo late) &"));
    EXPECT_TRUE(output.isNull());
    EXPECT_TRUE(run("(exec >&-; sleep 1000; echo late >&2) &"));
    EXPECT_TRUE(errorText.isNull());
}

} // namespace
