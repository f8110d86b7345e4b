// SPDX-License-Identifier: MIT
//
// The time limits of programs. A command, or a change by systemctl, must exit within half a minute;
// a status query may take longer. The test runs all of them at the same time, each in its own
// thread.
#include "services/service_control.h"
#include "services/service_status.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/process_resources.h"
#include "support/stand_in.h"
#include "util/command_runner.h"

#include <gmock/gmock.h>

#include <csignal>
#include <future>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// A program that would succeed, but ten seconds too late. It writes its own process id to the file
/// @p name.self and that of its child to the file @p name.child.
QByteArray late(const QByteArray &name)
{
    return "sleep 40 & echo $! >/run/" + name + ".child; echo $$ >/run/" + name +
           ".self; wait; true\n";
}

int idFrom(const QByteArray &file)
{
    return host::readFile("/run/" + QString::fromLatin1(file)).trimmed().toInt();
}

/// Expects that the program @p name and its child have been killed, and the program has been
/// reaped.
void expectGone(const QByteArray &name)
{
    const int self = idFrom(name + ".self");
    ASSERT_GT(self, 1);
    EXPECT_EQ(kill(self, 0), -1) << name.constData() << " was not reaped";

    // The child has lost its parent, so this process has adopted it. A child that was not
    // killed would outlive the test.
    const int child = idFrom(name + ".child");
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << name.constData();
}

TEST(TimeLimits, KillLateProgramsAndTheirChildren)
{
    const MessageLog log;
    host::writeStandIn("/usr/bin/systemctl", "case $1 in\n"
                                             "is-active) sleep 32; echo active;;\n"
                                             "stop) sleep 25;;\n"
                                             "start) " +
                                                 late("start") +
                                                 ";;\n"
                                                 "restart) " +
                                                 late("restart") +
                                                 ";;\n"
                                                 "esac\n");
    halvex::commandTable = {{1, QString::fromLatin1(late("command")).trimmed()},
                            {2, "sleep 25; echo in time"}};
    const QString command = halvex::commandTable[1];
    const int openBefore = openFilesOf(getpid());

    QString output = "untouched";
    QString errorText = "untouched";
    auto commandSucceeds =
        std::async(std::launch::async, [&] { return halvex::runCommand(1, output, errorText); });
    auto status =
        std::async(std::launch::async, [] { return halvex::getServiceStatus("halvex-ebpf", 0); });
    auto start = std::async(std::launch::async, [] {
        return halvex::setServiceStatus("halvex-ebpf", 1, 0, "/etc/engine.yaml");
    });
    QString outputInTime;
    QString errorTextInTime;
    auto commandInTimeSucceeds = std::async(
        std::launch::async, [&] { return halvex::runCommand(2, outputInTime, errorTextInTime); });
    auto stop = std::async(std::launch::async, [] {
        return halvex::setServiceStatus("halvex-ebpf", 0, 0, "/etc/engine.yaml");
    });
    auto restart =
        std::async(std::launch::async, [] { return halvex::restartService("halvex-ebpf"); });

    EXPECT_TRUE(commandInTimeSucceeds.get());
    EXPECT_EQ(outputInTime, "in time\n");
    EXPECT_EQ(stop.get(), 0) << "a change of less than half a minute failed";
    EXPECT_FALSE(commandSucceeds.get());
    EXPECT_EQ(output, "untouched");
    EXPECT_EQ(errorText, "Command execution timed out:" + command);
    EXPECT_EQ(start.get(), -1);
    EXPECT_EQ(restart.get(), -1);
    EXPECT_EQ(status.get(), 1) << "a status query of more than half a minute failed";

    expectGone("command");
    expectGone("start");
    expectGone("restart");
    EXPECT_EQ(openFilesOf(getpid()), openBefore);
    EXPECT_EQ(log.messages(), QStringList());
}

} // namespace
