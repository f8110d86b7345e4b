// SPDX-License-Identifier: MIT
//
// Descriptors attached to messages. The receiver has to close them, and its open files are limited.
#include "attacks/attacked_host.h"
#include "support/host_files.h"
#include "support/process_resources.h"
#include "support/settings_paths.h"

#include <QDBusConnection>

#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int bystandersMs = 8000;
constexpr int maxPerMessage = 16;    // the bus's limit
constexpr int openFilesLimit = 1024; // a unit's default

class Descriptors : public AttackedHost
{
protected:
    void SetUp() override
    {
        AttackedHost::SetUp();
        setOpenFilesLimit(openFilesLimit);
    }

    [[nodiscard]] int openFiles() const { return openFilesOf(daemon.processId()); }

    void setOpenFilesLimit(int count)
    {
        const auto limit = static_cast<rlim_t>(count);
        const rlimit limits = {limit, openFilesLimit};
        ASSERT_EQ(prlimit(static_cast<pid_t>(daemon.processId()), RLIMIT_NOFILE, &limits, nullptr),
                  0);
    }

    /// Sends @p count descriptors of /dev/null to the daemon, without waiting for answers.
    void sendDescriptors(int count)
    {
        const auto send = [this](int messages, int each) {
            if (messages > 0 && each > 0) {
                attackers.run({"flood", "--small", QString::number(messages), "--descriptors",
                               "/dev/null", QString::number(each)},
                              user::ordinary);
            }
        };
        send(count / maxPerMessage, maxPerMessage);
        send(1, count % maxPerMessage);
    }
};

TEST_F(Descriptors, AMessageWithDescriptorsIsRefusedByTheBus)
{
    for (const char *count : {"1", "16"}) {
        const auto answers = attackers.run(
            {"flood", "--answers", "--descriptors", "/dev/null", count}, user::ordinary);
        EXPECT_EQ(answers.join(' ').toStdString(), "error org.freedesktop.DBus.Error.AccessDenied");
    }
}

TEST_F(Descriptors, ASignalWithDescriptorsIsRefusedForEachConnectionOfRoot)
{
    // This test is such a program. Its connection owns no name, just like the daemon's connections
    // at first.
    ASSERT_TRUE(QDBusConnection::systemBus().isConnected());
    for (const char *count : {"1", "16"}) {
        const auto answers =
            attackers.run({"flood", "--answers", "--signal", "--pid", QString::number(getpid()),
                           "--descriptors", "/dev/null", count},
                          user::ordinary);
        EXPECT_EQ(answers.join(' ').toStdString(), "error org.freedesktop.DBus.Error.AccessDenied");
    }
}

TEST_F(Descriptors, SentInThousandsDoNotStayOpenInTheDaemon)
{
    holdTheGate();
    const int before = openFiles();
    sendDescriptors(200 * maxPerMessage);
    EXPECT_EQ(openFiles(), before);
    releaseTheGate();
    EXPECT_TRUE(isServedWithin(bystandersMs));
}

TEST_F(Descriptors, SentToTheDaemonsConnectionsDoNotStayOpen)
{
    holdTheGate();
    const int before = openFiles();
    const QStringList toEach{
        "--small",       "4",         "--pid", QString::number(daemon.processId()),
        "--descriptors", "/dev/null", "16"};
    attackers.run(QStringList{"flood"} + toEach, user::ordinary);
    attackers.run(QStringList{"flood", "--signal"} + toEach, user::ordinary);
    EXPECT_EQ(openFiles(), before);
    releaseTheGate();
    EXPECT_TRUE(isServedWithin(bystandersMs));
}

TEST_F(Descriptors, ALingeringSocketDelaysNobody)
{
    ASSERT_EQ(host::run({"ip", "link", "set", "lo", "up"}).exitCode, 0);
    holdTheGate();
    // The sender exits before the daemon handles the message, which then has the last descriptor.
    attackers.run({"flood", "--descriptors", "lingering", "1"}, user::ordinary);
    releaseTheGate();
    EXPECT_TRUE(isServedWithin(bystandersMs));
    expectItCanBeKilled();
}

TEST_F(Descriptors, AFileOfTheSendersOwnFileSystemDelaysNobody)
{
    attackers.startHangingFile(user::ordinary, daemon.processId());
    holdTheGate();
    attackers.run({"flood", "--descriptors", Attackers::hangingFile(), "1"}, user::ordinary);
    releaseTheGate();
    EXPECT_TRUE(isServedWithin(bystandersMs));
    expectItCanBeKilled();
}

// --- the status tool, which says whether the roles of the administrators are separated ---

TEST_F(Descriptors, ThatLeaveNoneForTheStatusToolLetNobodyChangeAnything)
{
    host::writeFile(settings::interventionPath, "action \"a\"\nb = \"1\"\n");
    holdTheGate();
    // The call is sent first, so that the descriptors arrive while it waits for the gate.
    QProcess &member = attackers.startAsFrontEnd(
        {"flood", "--member", "setInterventionConfig", "a", "b", "2", "--stay"}, user::wheelMember);
    ASSERT_EQ(linesUntil(member, "sent", patienceMs), QStringList());
    // This uses up all descriptors. When the gate goes on, the daemon closes the held tool's pipe,
    // and has only these descriptors left.
    sendDescriptors(openFilesLimit - openFiles());
    releaseTheGate("Three Admin : on\n");
    EXPECT_TRUE(isServedWithin(bystandersMs));
    EXPECT_EQ(systemLog.takeLines().filter("The caller has no permission").size(), 1);
    EXPECT_EQ(host::readFile(settings::interventionPath), "action \"a\"\nb = \"1\"\n");
}

TEST_F(Descriptors, TooFewForTheStatusToolLetNobodyChangeAnything)
{
    host::writeFile(settings::interventionPath, "action \"a\"\nb = \"1\"\n");
    // This status tool needs hardly any descriptors itself: it prints its environment.
    stopDaemon();
    host::writeFile("/usr/sbin/getstatus", host::readFile("/usr/bin/env"), 0755);
    startDaemon(soundEnvironment + QStringList{"ROLES=Three Admin : on"});
    const auto changeAs = [this](unsigned uid) {
        return call("setInterventionConfig", {"a", "b", "1"}, {uid, bystander::caller.path});
    };
    ASSERT_EQ(changeAs(user::secAdmin), Reply{0});
    ASSERT_EQ(changeAs(user::wheelMember), Reply{-999});
    const int used = openFiles();
    int readsWithoutTool = 0;
    for (int left = 0; left < 12; ++left) {
        setOpenFilesLimit(used + left);
        EXPECT_EQ(changeAs(user::wheelMember), Reply{-999}) << left << " left";
        if (changeAs(user::secAdmin) == Reply{-999} &&
            call(bystander::method, {}, bystander::caller) == bystander::served) {
            ++readsWithoutTool;
        }
    }
    EXPECT_GT(readsWithoutTool, 0) << "a reading call does not need the tool's answer";
    setOpenFilesLimit(openFilesLimit);
    EXPECT_EQ(changeAs(user::secAdmin), Reply{0});
}

} // namespace
