// SPDX-License-Identifier: MIT
#include "support/command.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/wait_for.h"
#include "util/command_runner.h"

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QTextCodec>

#include <gmock/gmock.h>

#include <csignal>
#include <sys/wait.h>

namespace {

constexpr int number = 5;

class CommandRunner : public testing::Test
{
protected:
    /// Runs @p command as the only command in the table.
    bool run(const QString &command)
    {
        halvex::commandTable = {{number, command}};
        return halvex::runCommand(number, output, errorText);
    }

    QString output = "untouched";
    QString errorText = "untouched";
    MessageLog log;
};

TEST_F(CommandRunner, TheTableIsEmptyAtFirst)
{
    EXPECT_TRUE(halvex::commandTable.empty());
}

TEST_F(CommandRunner, ANumberOutsideTheRangeFailsInSilence)
{
    halvex::commandTable = {{-1, "true"}, {9, "true"}};
    EXPECT_FALSE(halvex::runCommand(-1, output, errorText));
    EXPECT_FALSE(halvex::runCommand(9, output, errorText));
    EXPECT_EQ(output, "untouched");
    EXPECT_EQ(errorText, "untouched");
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(CommandRunner, ANumberWithoutACommandFailsInSilence)
{
    for (int each = 0; each <= 8; ++each) {
        EXPECT_FALSE(halvex::runCommand(each, output, errorText)) << each;
    }
    EXPECT_EQ(output, "untouched");
    EXPECT_EQ(errorText, "untouched");
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(CommandRunner, EachNumberOfTheRangeCanBeRun)
{
    for (int each = 0; each <= 8; ++each) {
        halvex::commandTable[each] = QString("echo %1").arg(each);
        EXPECT_TRUE(halvex::runCommand(each, output, errorText));
        EXPECT_EQ(output, QString("%1\n").arg(each));
    }
}

TEST_F(CommandRunner, BothOutputsAreDecodedAsUtf8)
{
    EXPECT_TRUE(run("printf 'Größe\\n'; printf '警告' >&2"));
    EXPECT_EQ(output, QString::fromUtf8("Größe\n"));
    EXPECT_EQ(errorText, QString::fromUtf8("警告"));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(CommandRunner, BytesThatAreNotUtf8AreReplaced)
{
    EXPECT_TRUE(run("printf 'a\\377b'; printf '\\200' >&2"));
    EXPECT_EQ(output, QString("a") + QChar(QChar::ReplacementCharacter) + "b");
    EXPECT_EQ(errorText, QString(QChar(QChar::ReplacementCharacter)));
}

TEST_F(CommandRunner, OutputAfterANulByteIsKept)
{
    EXPECT_TRUE(run("printf 'a\\000failed'; printf 'b\\000c' >&2"));
    EXPECT_EQ(output, QString("a") + QChar(0) + "failed");
    EXPECT_EQ(errorText, QString("b") + QChar(0) + "c");
}

TEST_F(CommandRunner, ACommandThatPrintsErrorsAndExitsWith0Succeeds)
{
    EXPECT_TRUE(run("echo careful >&2"));
    EXPECT_EQ(errorText, "careful\n");
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(CommandRunner, ASilentSuccessLeavesTwoNullTexts)
{
    EXPECT_TRUE(run("true"));
    EXPECT_TRUE(output.isNull());
    EXPECT_TRUE(errorText.isNull());
}

TEST_F(CommandRunner, ASilentFailureIsLoggedWithoutAnErrorText)
{
    EXPECT_FALSE(run("exit 1"));
    EXPECT_TRUE(output.isNull());
    EXPECT_TRUE(errorText.isNull());
    EXPECT_EQ(log.messages(),
              QStringList{R"(debug: "Command failed (exit code 1): exit 1\nError: ")"});
}

TEST_F(CommandRunner, AFailureIsLoggedWithCodeCommandAndError)
{
    EXPECT_FALSE(run("echo half; echo no >&2; exit 42"));
    EXPECT_EQ(output, "half\n");
    EXPECT_EQ(errorText, "no\n");
    EXPECT_EQ(
        log.messages(),
        QStringList{R"(debug: "Command failed (exit code 42): echo half; echo no >&2; exit 42)"
                    R"(\nError: no\n")"});
}

TEST_F(CommandRunner, PercentSignsInCommandAndErrorTextAreLoggedUnchanged)
{
    EXPECT_FALSE(run("echo '%1 %2 %3' >&2; exit 3"));
    EXPECT_EQ(log.messages(),
              QStringList{R"(debug: "Command failed (exit code 3): echo '%1 %2 %3' >&2; exit 3)"
                          R"(\nError: %1 %2 %3\n")"});
}

TEST_F(CommandRunner, AGrepThatFindsNothingFails)
{
    EXPECT_FALSE(run("echo something | grep halvex.net.ai"));
    EXPECT_TRUE(output.isNull());
}

TEST_F(CommandRunner, AKilledShellFailsWithTheSignalNumberAsExitCode)
{
    // The exit code of a killed program is the number of the signal.
    EXPECT_FALSE(run("kill -9 $$"));
    EXPECT_EQ(log.messages(),
              QStringList{R"(debug: "Command failed (exit code 9): kill -9 $$\nError: ")"});
}

TEST_F(CommandRunner, AShellThatCannotBeStartedGivesAnErrorTextAndLogsNothing)
{
    ASSERT_TRUE(QFile::remove("/bin/sh"));
    EXPECT_FALSE(run("echo hello"));
    EXPECT_EQ(errorText, "Failed to start command:echo hello");
    EXPECT_EQ(output, "untouched");
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(CommandRunner, TheShellGetsTheTextAsOneArgument)
{
    // The shell is started by this path, with these two arguments only.
    EXPECT_TRUE(run("tr '\\0' '|' </proc/$$/cmdline; true"));
    EXPECT_EQ(output, "/bin/sh|-c|tr '\\0' '|' </proc/$$/cmdline; true|");
}

TEST_F(CommandRunner, TheEnvironmentIsThatOfTheDaemonWithoutSixVariables)
{
    const QStringList removed{"IFS", "CDPATH", "ENV", "BASH_ENV", "LD_PRELOAD", "LD_LIBRARY_PATH"};
    for (const QString &name : removed) {
        qputenv(qPrintable(name), "/tmp/evil");
    }
    qputenv("KEPT", "a b=c");
    qputenv("LD_BIND_NOW", "1");
    EXPECT_TRUE(run("tr '\\0' '\\n' </proc/$$/environ; true"));
    auto expected = QProcessEnvironment::systemEnvironment().toStringList();
    for (const QString &name : removed) {
        expected.removeAll(name + "=/tmp/evil");
    }
    EXPECT_THAT(output.split('\n', Qt::SkipEmptyParts),
                testing::UnorderedElementsAreArray(expected));
    EXPECT_THAT(expected, testing::Contains(QString("KEPT=a b=c")));
}

TEST_F(CommandRunner, CommandsRunInTheDirectoryTmp)
{
    ASSERT_TRUE(QDir::setCurrent("/usr"));
    EXPECT_TRUE(run("readlink /proc/$$/cwd"));
    EXPECT_EQ(output, "/tmp\n");
    EXPECT_EQ(QDir::currentPath(), "/usr");
}

TEST_F(CommandRunner, StandardInputIsEmpty)
{
    EXPECT_TRUE(run("readlink /proc/$$/fd/0; if read line; then echo more; else echo end; fi"));
    EXPECT_EQ(output, "/dev/null\nend\n");
}

TEST_F(CommandRunner, OnlyTheStandardStreamsAreOpenInTheShell)
{
    EXPECT_TRUE(run("ls /proc/self/fd"));
    // The standard streams are 0 to 2; 3 is the directory that ls itself reads.
    EXPECT_EQ(output, "0\n1\n2\n3\n");
}

TEST_F(CommandRunner, MoreOutputThanAPipeHoldsIsReadCompletely)
{
    EXPECT_TRUE(run("head -c 1000000 /dev/zero | tr '\\0' x; head -c 300000 /dev/zero | tr '\\0' y "
                    ">&2"));
    EXPECT_EQ(output, QString(1000000, 'x'));
    EXPECT_EQ(errorText, QString(300000, 'y'));
}

TEST_F(CommandRunner, ABackgroundJobContinuesAndItsEndIsNotWaitedFor)
{
    // The job keeps both pipes open, so reading them to their end would block.
    EXPECT_TRUE(run("sh -c 'echo $$ >/run/job; exec sleep 1000' &"));
    EXPECT_TRUE(output.isNull());
    ASSERT_TRUE(waitFor(
        [] { return QFile::exists("/run/job") && host::readFile("/run/job").endsWith('\n'); }));
    const int job = host::readFile("/run/job").trimmed().toInt();
    ASSERT_GT(job, 1);
    EXPECT_TRUE(
        waitFor([job] { return host::readFile(QString("/proc/%1/comm").arg(job)) == "sleep\n"; }));
    ASSERT_EQ(kill(job, SIGKILL), 0);
    EXPECT_EQ(waitpid(job, nullptr, 0), job);
}

TEST_F(CommandRunner, EarlyOutputOfABackgroundJobIsCaptured)
{
    // Try repeatedly, because on a busy machine the job may print too late.
    EXPECT_TRUE(waitFor([this] {
        return run("(sleep 0.1; echo the job failed) &") && output == "the job failed\n";
    }));
}

TEST_F(CommandRunner, ABackgroundJobSurvivesPrintingAfterTheCommandHasReturned)
{
    ASSERT_EQ(host::run({"mkfifo", "/run/go"}).exitCode, 0);
    EXPECT_TRUE(
        run("sh -c 'read go </run/go; echo lost; echo lost >&2; echo $$ >/run/survived' &"));
    host::writeFile("/run/go", "go\n");
    // This process has adopted the job, because the shell that started it has exited.
    int status = -1;
    const pid_t job = wait(&status);
    EXPECT_EQ(host::readFile("/run/survived").trimmed().toInt(), job);
}

TEST_F(CommandRunner, OutputIsDecodedAsUtf8InAnyLocale)
{
    QTextCodec *before = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    EXPECT_TRUE(run("printf '\\303\\244'; printf '\\342\\202\\254' >&2"));
    QTextCodec::setCodecForLocale(before);
    EXPECT_EQ(output, QString::fromUtf8("ä"));
    EXPECT_EQ(errorText, QString::fromUtf8("€"));
}

TEST_F(CommandRunner, AReplacedCommandTextIsRun)
{
    EXPECT_TRUE(run("echo one"));
    halvex::commandTable[number] = "echo two";
    EXPECT_TRUE(halvex::runCommand(number, output, errorText));
    EXPECT_EQ(output, "two\n");
}

TEST_F(CommandRunner, AByteOrderMarkInTheOutputIsKept)
{
    EXPECT_TRUE(run("printf '\\357\\273\\2777'"));
    EXPECT_EQ(output, QChar(QChar::ByteOrderMark) + QString("7"));
}

} // namespace
