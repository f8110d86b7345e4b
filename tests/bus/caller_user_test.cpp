// SPDX-License-Identifier: MIT
//
// Which users the gate lets read and change, and what the gate asks the bus.
#include "bus/caller_gate.h"

#include <QFile>

namespace {

TEST_F(CallerGate, EveryUserMayRead)
{
    for (const unsigned uid :
         {user::root, user::wheelMember, user::ordinary, user::wheelByPrimary, user::secAdmin}) {
        EXPECT_EQ(letsEach(false, runBy(uid)), "all") << uid;
    }
}

TEST_F(CallerGate, RootMayChangeTheSystem)
{
    EXPECT_EQ(letsChange(runBy(user::root)), "all");
    EXPECT_EQ(daemonOutput(), QStringList());
}

TEST_F(CallerGate, AWheelMemberMayChangeTheSystemAndIsPrintedEachTime)
{
    EXPECT_EQ(letsChange(runBy(user::wheelMember)), "all");
    EXPECT_EQ(daemonOutput(),
              (QStringList{"anna is sudo group", "anna is sudo group", "anna is sudo group",
                           "anna is sudo group", "anna is sudo group", "anna is sudo group"}));
}

TEST_F(CallerGate, AnOrdinaryUserMayNotChangeTheSystem)
{
    EXPECT_EQ(letsChange(runBy(user::ordinary)), "none");
    EXPECT_EQ(daemonOutput(), QStringList());
    EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
}

TEST_F(CallerGate, AWheelMemberByPrimaryGroupOnlyIsRefused)
{
    EXPECT_EQ(letsChange(runBy(user::wheelByPrimary)), "none");
    EXPECT_EQ(daemonOutput(), QStringList());
}

TEST_F(CallerGate, User600MayNotChangeTheSystemWhileTheRolesAreNotSeparated)
{
    EXPECT_EQ(letsChange(runBy(user::secAdmin)), "none");
}

TEST_F(CallerGate, AUserWhoseAccountIsGoneIsRefusedAndPrinted)
{
    // Only users with an account can connect to the bus, so remove the account afterwards.
    const QByteArray users = host::readFile("/etc/passwd");
    int changing = 0;
    for (const MethodCall &each : allMethodCalls()) {
        if (each.changes) {
            ++changing;
            host::writeFile("/etc/passwd", users + "gone:x:2999:2999::/:/bin/sh\n");
            EXPECT_FALSE(wasLetIn(callAfter([&] { host::writeFile("/etc/passwd", users); },
                                            each.name, each.arguments, runBy(user::gone))));
        }
    }
    EXPECT_EQ(daemonOutput().size(), changing);
    EXPECT_THAT(daemonOutput(),
                testing::Each(QString("Failed to get passwd struct for 2999: Success")));
}

TEST_F(CallerGate, WithoutTheGroupWheelOnlyRootMayChangeTheSystem)
{
    QByteArray groups = host::readFile("/etc/group");
    host::writeFile("/etc/group", groups.replace("wheel:", "wheels:"));
    EXPECT_EQ(letsChange(runBy(user::root)), "all");
    EXPECT_EQ(daemonOutput(), QStringList());
    EXPECT_EQ(letsChange(runBy(user::wheelMember)), "none");
    EXPECT_EQ(daemonOutput().size(), changingMethods);
    EXPECT_THAT(daemonOutput(), testing::Each(QString("Failed to get group for wheel: Success")));
}

TEST_F(CallerGate, WithSeparatedAdministratorsOnlyUser600MayChangeTheSystem)
{
    setStatusToolOutput("Kernel : 1\nTHREE ADMIN : ON\n");
    EXPECT_EQ(letsChange(runBy(user::secAdmin)), "all");
    EXPECT_EQ(letsChange(runBy(user::root)), "none");
    EXPECT_EQ(letsChange(runBy(user::wheelMember)), "none");
    EXPECT_EQ(letsChange(runBy(user::ordinary)), "none");
    EXPECT_EQ(letsChange(runBy(user::wheelByPrimary)), "none");
    EXPECT_EQ(daemonOutput(), QStringList()) << "a group was looked up";
}

TEST_F(CallerGate, WithSeparatedAdministratorsEveryUserMayRead)
{
    setStatusToolOutput("three admin: enabled\n");
    for (const unsigned uid : {user::root, user::wheelMember, user::ordinary, user::secAdmin}) {
        EXPECT_EQ(letsEach(false, runBy(uid)), "all") << uid;
    }
}

TEST_F(CallerGate, TheStatusToolIsAskedAgainForEachCall)
{
    EXPECT_EQ(letsChange(runBy(user::root)), "all");
    setStatusToolOutput("three admin: on\n");
    EXPECT_EQ(letsChange(runBy(user::root)), "none");
    setStatusToolOutput("three admin: off\n");
    EXPECT_EQ(letsChange(runBy(user::root)), "all");
}

TEST_F(CallerGate, AMissingStatusToolMeansThatTheRolesAreNotSeparated)
{
    ASSERT_TRUE(QFile::remove("/usr/sbin/getstatus"));
    EXPECT_EQ(letsChange(runBy(user::root)), "all");
    EXPECT_EQ(letsChange(runBy(user::ordinary)), "none");
}

TEST_F(CallerGate, AReadingCallRunsTheStatusToolOnce)
{
    EXPECT_TRUE(letsRead(runBy(user::wheelMember)));
    EXPECT_EQ(statusToolRuns(), 1);
    EXPECT_EQ(daemonOutput(), QStringList{"anna is sudo group"});
}

TEST_F(CallerGate, AStrangersCallRunsTheStatusToolOnce)
{
    copyFrontEnd("/usr/local/bin/stranger");
    EXPECT_FALSE(letsRead(at("/usr/local/bin/stranger")));
    EXPECT_EQ(statusToolRuns(), 1);
}

// --- what the gate asks the bus ---

/// Records the questions that the daemon asks the bus.
class BusQuestions : public CallerGate
{
protected:
    void SetUp() override
    {
        CallerGate::SetUp();
        monitor.start("dbus-monitor", {"--system", "sender=com.norva.halvex.desktop.gate,"
                                                   "destination=org.freedesktop.DBus"});
        ASSERT_TRUE(waitFor([this] { return seen().contains("NameLost"); }))
            << "the monitor does not run";
    }

    void TearDown() override
    {
        monitor.kill();
        monitor.waitForFinished();
        CallerGate::TearDown();
    }

    QByteArray seen()
    {
        monitor.waitForReadyRead(1);
        output += monitor.readAllStandardOutput();
        return output;
    }

    /// The questions that the daemon asks when @p caller calls @p method, in order.
    QStringList questions(const QString &method, const QStringList &arguments, const Caller &caller)
    {
        static_cast<void>(seen());
        output.clear();
        static_cast<void>(call(method, arguments, caller));
        // The monitor shows messages in order: once it shows the questions of this second call,
        // it has shown all questions of the first call.
        static_cast<void>(call("getEventTotalCount", {}, at("/usr/sbin/halvex-desktop")));
        QStringList members;
        EXPECT_TRUE(waitFor([&] {
            members.clear();
            for (const QString &line : QString::fromUtf8(seen()).split('\n')) {
                if (line.startsWith("method call ")) {
                    members << line.section("member=", 1);
                }
            }
            return members.size() > 3 && members.mid(members.size() - 3) == ofAReadingCall;
        }));
        return members.mid(0, members.size() - 3);
    }

    const QStringList ofAReadingCall{"GetConnectionUnixProcessID", "GetConnectionUnixUser",
                                     "GetConnectionUnixUser"};

private:
    QProcess monitor;
    QByteArray output;
};

TEST_F(BusQuestions, AReadingCallAsksOnceForTheProcessAndTwiceForTheUser)
{
    EXPECT_EQ(questions("getEventTotalCount", {}, ordinaryUser()), ofAReadingCall);
}

TEST_F(BusQuestions, AnAcceptedChangingCallAsksForTheUserThreeTimes)
{
    EXPECT_EQ(questions("restartService", {"halvex-ebpf"}, runBy(user::root)),
              ofAReadingCall + QStringList{"GetConnectionUnixUser"});
}

TEST_F(BusQuestions, ACallWithAForbiddenVariableAsksOnlyForTheProcess)
{
    EXPECT_EQ(questions("restartService", {"halvex-ebpf"}, withEnvironment({"ENV="})),
              QStringList{"GetConnectionUnixProcessID"});
}

} // namespace
