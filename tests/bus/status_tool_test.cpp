// SPDX-License-Identifier: MIT
//
// The status tool says whether the roles of the administrators are separated. If it is executable,
// but cannot be started, or a signal ends it before it answers, nobody may change the system. If it
// is not executable, or exits without an answer, the roles are not separated.
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/settings_paths.h"

namespace {

constexpr const char *tool = "/usr/sbin/getstatus";
using settings::interventionPath;

class StatusTool : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        host::writeFile(interventionPath, "action \"block\" {\n  timeout = \"1\"\n}\n");
        host::writeFile(settings::blockTimePath, "");
        startDaemon();
        ASSERT_NO_FATAL_FAILURE(expectTheRolesAreNotSeparated("while the tool works"));
    }

    [[nodiscard]] Reply changeAs(unsigned uid)
    {
        return call("setInterventionConfig", {"block", "timeout", "1"}, Caller{uid});
    }

    [[nodiscard]] Reply readAs(unsigned uid)
    {
        return call("getInterventionConfig", {"block", "timeout"}, Caller{uid});
    }

    void expectEverybodyReads(const char *when)
    {
        for (const unsigned uid : {user::root, user::wheelMember, user::ordinary, user::secAdmin}) {
            EXPECT_EQ(readAs(uid), (Reply{0, {"1"}})) << uid << ' ' << when;
        }
    }

    void expectTheRolesAreNotSeparated(const char *when)
    {
        EXPECT_EQ(changeAs(user::root), Reply{0}) << when;
        EXPECT_EQ(changeAs(user::wheelMember), Reply{0}) << when;
        EXPECT_EQ(changeAs(user::secAdmin), Reply{-999}) << when;
        expectEverybodyReads(when);
    }

    void expectNobodyChanges(const char *when)
    {
        const QByteArray before = host::readFile(interventionPath);
        for (const unsigned uid : {user::root, user::wheelMember, user::secAdmin}) {
            EXPECT_EQ(changeAs(uid), Reply{-999}) << uid << ' ' << when;
        }
        EXPECT_EQ(host::readFile(interventionPath), before);
        expectEverybodyReads(when);
    }

    /// The exit status of a shell that executes the tool, as the daemon's shell does.
    static int statusOfShell()
    {
        return host::run({"/bin/sh", "-c", "exec /usr/sbin/getstatus"}).exitCode;
    }
};

TEST_F(StatusTool, WhoseInterpreterIsMissingLetsNobodyChangeTheSystem)
{
    host::writeFile(tool, "#!/no/such/interpreter\necho three admin: off\n", 0755);
    ASSERT_EQ(statusOfShell(), 127);
    expectNobodyChanges("without the interpreter");
    host::writeScript(tool, "echo three admin: off\n");
    expectTheRolesAreNotSeparated("once the tool works again");
}

TEST_F(StatusTool, WhoseInterpreterCannotBeExecutedLetsNobodyChangeTheSystem)
{
    host::writeFile(tool, "#!/etc/passwd\necho three admin: off\n", 0755);
    ASSERT_EQ(statusOfShell(), 126);
    expectNobodyChanges("with an interpreter that is no program");
    host::writeScript(tool, "echo three admin: off\n");
    expectTheRolesAreNotSeparated("once the tool works again");
}

TEST_F(StatusTool, ThatIsNotExecutableMeansThatTheRolesAreNotSeparated)
{
    host::writeFile(tool, "#!/bin/sh\necho three admin: on\n", 0644);
    expectTheRolesAreNotSeparated("while the tool is not executable");
}

TEST_F(StatusTool, ThatExitsWithoutAnAnswerMeansThatTheRolesAreNotSeparated)
{
    for (const char *end : {"exit 0", "exit 1", "exit 2", "exit 3"}) {
        host::writeScript(tool, QByteArray(end) + '\n');
        expectTheRolesAreNotSeparated(end);
    }
}

TEST_F(StatusTool, ThatIsTerminatedByASignalBeforeItPrintsLetsNobodyChangeAnything)
{
    // If the kernel has no memory left while it starts a program, a signal ends the program.
    for (const char *end : {"kill -TERM $$", "kill -KILL $$", "kill -SEGV $$"}) {
        host::writeScript(tool, QByteArray(end) + '\n');
        expectNobodyChanges(end);
    }
}

TEST_F(StatusTool, ThatIsTerminatedByASignalAfterItsAnswerIsBelieved)
{
    host::writeScript(tool, "echo three admin: off\nkill -KILL $$\n");
    expectTheRolesAreNotSeparated("off, then killed");
}

} // namespace
