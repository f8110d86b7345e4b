// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/processor_time.h"
#include "support/settings_paths.h"

#include <unistd.h>

namespace {

constexpr const char *configPath = settings::interventionPath;
using settings::blockTimePath;

const QByteArray original = "# interventions\n"
                            "action \"block\" {\n"
                            "    # timeout = \"10\"\n"
                            "    timeout = \"30\" \t\n"
                            "    hosts = \"a\" \"b\"\n"
                            "}\n"
                            "# action \"log\"\n"
                            "action \"warn\" {\n"
                            "    text = \"hello\"\r\n"
                            "    x=1 note = \"y\"\n"
                            "    none =\n"
                            "    last = \"1\"\n"
                            "}";

class InterventionSettings : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        startDaemon();
    }

    void TearDown() override
    {
        // The daemon logs only refusals, and a test that expects one takes its log line.
        EXPECT_EQ(systemLog.takeLines(), QStringList());
        EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
        DaemonHost::TearDown();
    }

    Reply get(const QString &action, const QString &field)
    {
        return call("getInterventionConfig", {action, field}, Caller{user::ordinary});
    }

    Reply set(const QString &action, const QString &field, const QString &value)
    {
        return call("setInterventionConfig", {action, field, value}, Caller{user::wheelMember});
    }

    /// Sets a field of the original file, and expects that only @p before becomes @p after.
    void expectChange(const QString &action, const QString &field, const QString &value,
                      const QByteArray &before, const QByteArray &after)
    {
        host::writeFile(configPath, original);
        EXPECT_EQ(set(action, field, value), Reply{0});
        QByteArray expected = original;
        ASSERT_EQ(expected.count(before), 1);
        expected.replace(before, after);
        EXPECT_EQ(host::readFile(configPath), expected);
    }

    /// Starts a front end that makes a call, and does not wait for it.
    static void start(QProcess &process, const QString &method, const QStringList &arguments)
    {
        const QStringList command = frontEndCommand({}, QStringList{method} + arguments);
        process.start(command.first(), command.mid(1));
        ASSERT_TRUE(process.waitForStarted(patienceMs));
    }

    /// Waits until a front end exits, and returns the name of the bus error that it got.
    static QString errorAtItsEnd(QProcess &process)
    {
        EXPECT_TRUE(process.waitForFinished(patienceMs));
        return QString::fromUtf8(process.readAllStandardOutput()).section(':', 0, 0);
    }

    /// Expects that setting a field of a file with @p content keeps the daemon busy until it is
    /// killed, and that no other caller is served meanwhile.
    void expectEndless(const QByteArray &content, const QString &action, const QString &field)
    {
        host::writeFile(configPath, content);
        daemonMayEnd = true;
        QProcess setter;
        start(setter, "setInterventionConfig", {action, field, "1"});
        EXPECT_TRUE(keepsBusy(pid_t(daemon.processId())));
        QProcess reader;
        start(reader, "--wait", {"getInterventionConfig", "block", "timeout"});
        ASSERT_TRUE(reader.waitForReadyRead(patienceMs));
        ASSERT_TRUE(reader.readLine().contains("waiting"));
        reader.closeWriteChannel();
        EXPECT_TRUE(keepsBusy(pid_t(daemon.processId())));
        EXPECT_EQ(daemon.state(), QProcess::Running);
        stopDaemon();
        EXPECT_EQ(errorAtItsEnd(setter), "org.freedesktop.DBus.Error.NoReply");
        EXPECT_EQ(errorAtItsEnd(reader), "org.freedesktop.DBus.Error.NoReply")
            << "the other caller was served";
        EXPECT_EQ(host::readFile(configPath), content);
    }

    /// The content of a block-time file with @p content after @p value has been written.
    QByteArray changedBlockTime(const QByteArray &content, const QString &value)
    {
        host::writeFile(blockTimePath, content);
        EXPECT_EQ(set("any", "blockip_timeout", value), Reply{0});
        return host::readFile(blockTimePath);
    }

    /// Expects that a timeout line after @p lines is read and written.
    void expectBlockTimeAfter(const QByteArray &lines)
    {
        EXPECT_EQ(blockTimeIn(lines + "TIMEOUT=5"), (Reply{0, {"5s"}}));
        EXPECT_TRUE(changedBlockTime(lines + "TIMEOUT=", "5s") ==
                    lines + "TIMEOUT=\"timeout 5s\"\n");
    }

    /// The block time in a file that holds @p content.
    Reply blockTimeIn(const QByteArray &content)
    {
        host::writeFile(blockTimePath, content);
        return get("any", "blockip_timeout");
    }
};

TEST_F(InterventionSettings, AnOrdinaryUsersFrontEndReadsFields)
{
    host::writeFile(configPath, original);
    EXPECT_EQ(get("block", "timeout"), (Reply{0, {"30"}}));
    EXPECT_EQ(get("block", "out"), (Reply{0, {"30"}}));
    EXPECT_EQ(get("block", "hosts"), (Reply{0, {"a b"}}));
    EXPECT_EQ(get("warn", "text"), (Reply{0, {"hello"}}));
    EXPECT_EQ(get("warn", "note"), (Reply{0, {" note = y"}}));
    EXPECT_EQ(get("log", "text"), (Reply{0, {""}})) << "the next header does not end the section";
    EXPECT_EQ(get("block", "text"), (Reply{0, {""}}));
    EXPECT_EQ(get("none", "text"), (Reply{0, {""}}));
    EXPECT_EQ(host::readFile(configPath), original);
}

TEST_F(InterventionSettings, AnAdministratorsFrontEndChangesAField)
{
    expectChange("block", "timeout", "60", "\"30\" \t\n", "\"60\"\n");
    EXPECT_EQ(get("block", "timeout"), (Reply{0, {"60"}}));
    expectChange("block", "hosts", "x y", "\"a\" \"b\"", "\"x\" \"y\"");
    EXPECT_EQ(get("block", "hosts"), (Reply{0, {"x y"}}));
    expectChange("block", "hosts", "x  ö ", "\"a\" \"b\"", "\"x\" \"\" \"\xc3\xb6\"");
    expectChange("block", "hosts", "", "\"a\" \"b\"", "\"\"");
    EXPECT_EQ(get("block", "hosts"), (Reply{0, {""}}));
}

TEST_F(InterventionSettings, AFieldIsFoundInOtherSectionsAndInsideLongerNames)
{
    expectChange("block", "text", "bye", "\"hello\"\r\n", "\"bye\"\n");
    expectChange("log", "text", "bye", "\"hello\"\r\n", "\"bye\"\n");
    expectChange("warn", "none", "z", "    last = \"1\"\n", "\"z\"\n");
    expectChange("warn", "ote", "z", "\"y\"\n", "\"z\"\n");
}

TEST_F(InterventionSettings, ACommentedHeaderOfAnotherActionDoesNotCloseTheSection)
{
    host::writeFile(configPath, "action \"block\"\n"
                                "# action \"warn\"\n"
                                "\t\v #action \"log\" {\n"
                                " \t\n"
                                "timeout = \"30\"\n"
                                "action \"warn\"\n"
                                "hosts = \"a\"\n");
    EXPECT_EQ(get("block", "timeout"), (Reply{0, {"30"}}));
    EXPECT_EQ(get("warn", "timeout"), (Reply{0, {"30"}}))
        << "a header in a comment does not open its section";
    EXPECT_EQ(get("block", "hosts"), (Reply{0, {""}}))
        << "the header of \"warn\" does not close the section of \"block\"";
}

TEST_F(InterventionSettings, ACommentedHeaderOfTheActionOpensItsSection)
{
    const QByteArray content = "timeout = \"0\"\n"
                               "#action \"block\" {\n"
                               "timeout = \"30\"\n"
                               "action \"warn\"\n"
                               "hosts = \"a\"\n"
                               "  # see action \"block\"\n"
                               "hosts = \"b\"\n";
    host::writeFile(configPath, content);
    EXPECT_EQ(get("block", "timeout"), (Reply{0, {"30"}}));
    EXPECT_EQ(get("block", "hosts"), (Reply{0, {"b"}})) << "the section is not opened again";
    EXPECT_EQ(get("warn", "hosts"), (Reply{0, {"a"}}));
    EXPECT_EQ(set("block", "timeout", "60"), Reply{0});
    QByteArray expected = content;
    EXPECT_EQ(host::readFile(configPath), expected.replace("\"30\"", "\"60\""));
}

TEST_F(InterventionSettings,
       AFieldInTheNextHeadersLineIsReadButAFieldInTheSectionsOwnHeaderLineIsNot)
{
    host::writeFile(configPath, "action \"block\" timeout = 1\n"
                                "action \"warn\" timeout = 2\n"
                                "timeout = 3\n");
    EXPECT_EQ(get("block", "timeout"), (Reply{0, {"2"}}));
    EXPECT_EQ(get("warn", "timeout"), (Reply{0, {"3"}}));
    EXPECT_EQ(get("block", "imeout"), (Reply{0, {"2"}}));
}

TEST_F(InterventionSettings, OwnerAndModeAreKept)
{
    for (const char *path : {configPath, blockTimePath}) {
        host::writeFile(path, path == configPath ? original : QByteArray("TIMEOUT=\n"), 0640);
        ASSERT_EQ(chown(path, 2001, 2002), 0);
    }
    EXPECT_EQ(set("block", "timeout", "60"), Reply{0});
    EXPECT_EQ(set("block", "blockip_timeout", "60s"), Reply{0});
    EXPECT_EQ(host::ownerAndMode(configPath), "2001:2002 0640");
    EXPECT_EQ(host::ownerAndMode(blockTimePath), "2001:2002 0640");
}

TEST_F(InterventionSettings, AnOrdinaryUserChangesNothing)
{
    host::writeFile(configPath, original);
    EXPECT_EQ(call("setInterventionConfig", {"block", "timeout", "1"}, Caller{user::ordinary}),
              Reply{-999});
    EXPECT_EQ(host::readFile(configPath), original);
    EXPECT_EQ(systemLog.takeLines(),
              QStringList{"<14>halvex-desktop-daemon: The caller has no permission"});
}

TEST_F(InterventionSettings, AnEmptyNameOrAMissingActionFails)
{
    host::writeFile(configPath, original);
    EXPECT_EQ(get("", "timeout"), (Reply{-1, {""}}));
    EXPECT_EQ(get("block", ""), (Reply{-1, {""}}));
    EXPECT_EQ(set("", "timeout", "1"), Reply{-1});
    EXPECT_EQ(set("block", "", "1"), Reply{-1});
    EXPECT_EQ(set("none", "timeout", "1"), Reply{-1});
    EXPECT_EQ(host::readFile(configPath), original);
}

TEST_F(InterventionSettings, AFileThatCannotBeOpenedFails)
{
    EXPECT_EQ(get("block", "timeout"), (Reply{-1, {""}}));
    EXPECT_EQ(set("block", "timeout", "1"), Reply{-1});
    EXPECT_EQ(get("block", "blockip_timeout"), (Reply{-1, {""}}));
    EXPECT_EQ(set("block", "blockip_timeout", "1s"), Reply{-1});
    host::writeFile(configPath, original);
    host::writeFile(blockTimePath, "TIMEOUT=\n");
    host::makeUnwritable(configPath);
    host::makeUnwritable(blockTimePath);
    EXPECT_EQ(set("block", "timeout", "1"), Reply{-1});
    EXPECT_EQ(set("block", "blockip_timeout", "1s"), Reply{-1});
    EXPECT_EQ(host::readFile(configPath), original);
    EXPECT_EQ(host::readFile(blockTimePath), "TIMEOUT=\n");
}

TEST_F(InterventionSettings, AMissingFieldKeepsTheDaemonBusyForEver)
{
    expectEndless(original, "warn", "timeout");
}

TEST_F(InterventionSettings, AFieldInALastLineWithoutALineFeedKeepsTheDaemonBusyForEver)
{
    expectEndless("action \"block\"\n    timeout = \"30\"", "block", "timeout");
}

TEST_F(InterventionSettings, AnEqualsSignAtTheEndOfTheLastLineKeepsTheDaemonBusyForEver)
{
    // The value would begin after the line feed, which is the file's last byte.
    expectEndless("action \"block\"\n    timeout =\n", "block", "timeout");
}

TEST_F(InterventionSettings, ACommentedOutFieldAfterTheOnlyFieldKeepsTheDaemonBusyForEver)
{
    expectEndless("action \"block\"\n    timeout = \"30\"\n    # timeout\n", "block", "timeout");
}

TEST_F(InterventionSettings, TheBlockTimeIsReadFromItsOwnFile)
{
    EXPECT_EQ(blockTimeIn("# x\nTIMEOUT=\"timeout 600s\"\n"), (Reply{0, {"600s"}}));
    EXPECT_EQ(blockTimeIn("TIMEOUT=\"timeout 900\"\n"), (Reply{0, {"900s"}}));
    EXPECT_EQ(blockTimeIn("TIMEOUT=\n"), (Reply{0, {"-1"}}));
    EXPECT_EQ(blockTimeIn("TIMEOUT= \t\r\n"), (Reply{0, {"-1"}}));
    EXPECT_EQ(blockTimeIn("TIMEOUT=\"timeout 0s\"\n"), (Reply{0, {""}}));
    EXPECT_EQ(blockTimeIn("# nothing\n"), (Reply{0, {""}}));
    EXPECT_EQ(blockTimeIn(""), (Reply{0, {""}}));
    EXPECT_EQ(blockTimeIn("TIMEOUT=never\n"), (Reply{-1, {""}}));
    EXPECT_EQ(blockTimeIn("TIMEOUT=\"timeout 2147483648s\"\n"), (Reply{-1, {""}}));
}

TEST_F(InterventionSettings, TheBlockTimeIsWrittenToItsOwnFile)
{
    EXPECT_EQ(changedBlockTime("# x\nTIMEOUT=\"timeout 600s\" # y\n\nz", "900s"),
              "# x\nTIMEOUT=\"timeout 900s\"\n\nz\n");
    EXPECT_EQ(changedBlockTime("TIMEOUT=\"timeout 600s\"\n", "900"), "TIMEOUT=\"timeout 90s\"\n");
    EXPECT_EQ(changedBlockTime("TIMEOUT=\"timeout 600s\"\n", "0s"), "TIMEOUT=\"timeout 0s\"\n");
    EXPECT_EQ(changedBlockTime("TIMEOUT=\"timeout 600s\"\n", ""), "TIMEOUT=\"timeout s\"\n");
    EXPECT_EQ(changedBlockTime("TIMEOUT=\"timeout 600s\"\n", "-1"), "TIMEOUT=\n");
    EXPECT_EQ(changedBlockTime("TIMEOUT=\n", "600s"), "TIMEOUT=\"timeout 600s\"\n");
    EXPECT_EQ(changedBlockTime("TIMEOUT=\n", "900"), "TIMEOUT=\"timeout 900\"\n");
    EXPECT_EQ(changedBlockTime("TIMEOUT=600\n", "900s"), "TIMEOUT=600\n");
    EXPECT_EQ(changedBlockTime("# zw\xc3\xb6lf\n", "900s"), "# zw\xc3\xb6lf\n");
    EXPECT_EQ(changedBlockTime("", "900s"), "");
}

TEST_F(InterventionSettings, EmptyBinaryAndHugeFilesDoNotStopTheDaemon)
{
    const QByteArray long_(64 << 20, 'x');
    for (const QByteArray &content :
         {QByteArray(), QByteArray("\0\xff\xfe\n", 4), long_, QByteArray("\n").repeated(1 << 20)}) {
        host::writeFile(configPath, content);
        EXPECT_EQ(get("block", "timeout"), (Reply{0, {""}}));
        EXPECT_EQ(set("block", "timeout", "1"), Reply{-1});
        EXPECT_EQ(blockTimeIn(content), (Reply{0, {""}}));
    }
    EXPECT_EQ(blockTimeIn("TIMEOUT=" + long_), (Reply{-1, {""}}));
    host::writeFile(configPath, "action \"a\"\nb = \"\xff\xc3\"\n");
    EXPECT_EQ(get("a", "b"), (Reply{0, {QString(2, QChar(0xfffd))}}));
    host::writeFile(configPath, "action \"a\"\nb = " + long_ + "\n");
    EXPECT_EQ(get("a", "b"), (Reply{-1, {""}})) << "a text too long for the bus is no failure";
    EXPECT_EQ(set("a", "b", "1"), Reply{0});
    EXPECT_EQ(host::readFile(configPath), "action \"a\"\nb = \"1\"\n");
}

#ifdef __SANITIZE_ADDRESS__ // the full length would take minutes
constexpr int longFile = 4 << 20;
#else
constexpr int longFile = 64 << 20;
#endif

TEST_F(InterventionSettings, ABlockTimeFileOfMillionsOfEmptyLinesIsReadAndWritten)
{
    expectBlockTimeAfter(QByteArray(longFile, '\n'));
}

TEST_F(InterventionSettings, ABlockTimeFileOfMillionsOfShortLinesIsReadAndWritten)
{
    expectBlockTimeAfter(QByteArray("x\n").repeated(longFile / 2));
}

TEST_F(InterventionSettings, AValueOfMillionsOfBlanksIsWritten)
{
    constexpr int blanks = 20 << 20;
    host::writeFile(configPath, "action \"a\"\nb = \"1\"\n");
    EXPECT_EQ(callWithLongText("setInterventionConfig", {"a", "b"}, QString(blanks, ' ')),
              Reply{0});
    EXPECT_TRUE(host::readFile(configPath) ==
                "action \"a\"\nb = " + QByteArray("\"\" ").repeated(blanks).chopped(1) + "\n");
}

} // namespace
