// SPDX-License-Identifier: MIT
//
// Descriptors attached to messages. The receiver has to close them, which may block for ever, and
// its open files are limited. The daemon cannot refuse them, so the bus policy does. If the daemon
// has too few free descriptors to run the status tool, it must still refuse the callers whom the
// tool's answer would refuse.
#include "attacks/attacked_host.h"
#include "support/host_files.h"
#include "support/process_resources.h"
#include "support/settings_paths.h"

#include <QDBusConnection>

#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int openFilesLimit = 1024; // a unit's default
const QString denied = "error org.freedesktop.DBus.Error.AccessDenied";

class Descriptors : public AttackedHost
{
protected:
    [[nodiscard]] int openFiles() const { return openFilesOf(daemon.processId()); }

    void setOpenFilesLimit(int count)
    {
        const auto limit = static_cast<rlim_t>(count);
        const rlimit limits = {limit, openFilesLimit};
        ASSERT_EQ(prlimit(static_cast<pid_t>(daemon.processId()), RLIMIT_NOFILE, &limits, nullptr),
                  0);
    }

    /// The answers to a stranger who sends messages.
    QStringList answersTo(const QStringList &options)
    {
        return attackers.run(QStringList{"flood", "--answers"} + options, user::ordinary);
    }
};

TEST_F(Descriptors, AreRefusedByTheBusInCallsThatItAllowsWithoutThem)
{
    const QStringList call{"--member", bystander::method};
    ASSERT_EQ(answersTo(call), QStringList{"status -999"});
    const QStringList toEachConnection{"--pid", QString::number(daemon.processId())};
    for (const char *count : {"1", "16"}) {
        const QStringList descriptors{"--descriptors", "/dev/null", count};
        EXPECT_EQ(answersTo(call + descriptors), QStringList{denied}) << count;
        EXPECT_EQ(answersTo(call + toEachConnection + descriptors), (QStringList{denied, denied}))
            << count;
    }
}

TEST_F(Descriptors, AreRefusedByTheBusInSignalsToEachConnectionOfRoot)
{
    // This test runs as root. Its connection owns no name, like the daemon's connections at first.
    ASSERT_TRUE(QDBusConnection::systemBus().isConnected());
    const QString pid = QString::number(getpid());
    for (const char *count : {"1", "16"}) {
        EXPECT_EQ(answersTo({"--signal", "--pid", pid, "--descriptors", "/dev/null", count}),
                  QStringList{denied})
            << count;
    }
}

TEST_F(Descriptors, TooFewForTheStatusToolDoNotLetAWheelMemberMakeChanges)
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
    EXPECT_GT(readsWithoutTool, 0)
        << "no limit was found at which the tool cannot run and a reading call is served";
    setOpenFilesLimit(openFilesLimit);
    EXPECT_EQ(changeAs(user::secAdmin), Reply{0});
}

} // namespace
