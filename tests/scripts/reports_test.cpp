// SPDX-License-Identifier: MIT
//
// What the scripts print: the progress of a step, its failure, and the results of a test run.
#include "support/command.h"
#include "support/host_files.h"
#include "support/printing.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

const QString logs = "/srv/checkout/build/log/";

/// Runs @p command as the step "some-step" of a script.
host::CommandResult runStep(const QString &command)
{
    EXPECT_TRUE(QDir().mkpath("/srv/checkout"));
    EXPECT_EQ(host::run({"cp", "-r", SOURCE "/scripts", "/srv/checkout"}).exitCode, 0);
    return host::run({"bash", "-c",
                      "set -euo pipefail; . /srv/checkout/scripts/prepare.sh; "
                      "step some-step 'Doing it' sh -c \"$0\"; echo next",
                      command});
}

TEST(Step, TheProgressAndTheEndAreOneLineAndTheOutputIsInTheLog)
{
    const auto result = runStep("echo begun; echo '[1/4] a'; echo '[2/4] b' >&2; echo '[4/4] c'");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.output.startsWith("Doing it… 25 % 50 % done ("))
        << result.output.constData();
    EXPECT_TRUE(result.output.endsWith(" s)\nnext\n")) << result.output.constData();
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(host::readFile(logs + "some-step.log"), "begun\n[1/4] a\n[2/4] b\n[4/4] c\n");
}

TEST(Step, TheDownloadCountsAsHalfOfAnInstallation)
{
    const auto result = runStep("echo dlstatus:1:50.0000:Retrieving; echo Unpacking libc6; "
                                "echo pmstatus:libc6:amd64:0.0000:Unpacking; "
                                "echo pmstatus:dpkg-exec:60.5000:Running dpkg");
    EXPECT_TRUE(result.output.startsWith("Doing it… 25 % 50 % 80 % done ("))
        << result.output.constData();
}

TEST(Step, AFailureShowsTheEndOfTheLogAndEndsTheScript)
{
    const auto result = runStep("seq 100; exit 3");
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.output, "Doing it… failed\n");
    QByteArray end = "The end of " + logs.toUtf8() + "some-step.log:\n";
    for (int number = 61; number <= 100; ++number) {
        end += QByteArray::number(number) + '\n';
    }
    EXPECT_EQ(result.errors, end);
}

TEST(Step, ALogThatCannotBeWrittenEndsTheScript)
{
    host::writeFile("/srv/checkout/build", "");
    const auto result = runStep("echo done anyway");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors.count('\n'), 1) << result.errors.constData();
    EXPECT_TRUE(result.errors.contains(" cannot be written")) << result.errors.constData();
}

/// The line of results for a report with @p cases.
QByteArray resultsOf(const QByteArray &cases)
{
    host::writeFile("/srv/report.xml", "<testsuite name=\"Linux\">\n" + cases + "</testsuite>\n");
    const auto result = host::run({"awk", "-f", SOURCE "/scripts/results.awk", "/srv/report.xml"});
    EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
    return result.output;
}

QByteArray testCase(const QByteArray &status, const QByteArray &output)
{
    return "\t<testcase name=\"A.B\" classname=\"A.B\" time=\"0.1\" status=\"" + status +
           "\">\n\t\t<system-out>" + output + "\n</system-out>\n\t</testcase>\n";
}

TEST(Results, EachTestThatDidNotPassIsCounted)
{
    EXPECT_EQ(resultsOf(testCase("run", "x") + testCase("fail", "") + testCase("run", "") +
                        testCase("notrun", "Fixture dependency failed") + testCase("disabled", "")),
              "2 passed, 1 failed, 1 not run, 1 disabled\n");
    EXPECT_EQ(resultsOf(testCase("fail", "")), "0 passed, 1 failed\n");
}

TEST(Results, ASkippedTestIsCountedWithItsReason)
{
    const QByteArray skipped =
        testCase("notrun", "[ RUN      ] A.B\n/a/b.cpp:7: Skipped\nonly if 1 &lt; 2\n\nSkipped");
    EXPECT_EQ(resultsOf(skipped + testCase("run", "b.cpp:7: Skipped\nno") + skipped),
              "1 passed, 2 skipped (only if 1 < 2)\n");
}

} // namespace
