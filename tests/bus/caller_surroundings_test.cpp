// SPDX-License-Identifier: MIT
//
// Which environments and namespaces of the calling process the gate accepts.
#include "bus/caller_gate.h"

#include <QRegularExpression>

namespace {

using testing::Contains;

// --- the environment ---

TEST_F(CallerGate, EachForbiddenVariableIsRefusedWithoutAMessage)
{
    for (const char *name : {"LD_PRELOAD", "LD_LIBRARY_PATH", "LD_AUDIT", "BASH_ENV", "ENV",
                             "PYTHONPATH", "PERL5OPT"}) {
        EXPECT_FALSE(letsRead(withEnvironment({QString(name) + "=/srv/x"}))) << name;
        EXPECT_FALSE(letsRead(withEnvironment({QString(name) + "="}))) << name;
    }
    EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
    EXPECT_EQ(host::readFile("/run/daemon.err").count("environVars ("), 14)
        << "not every environment was logged";
}

TEST_F(CallerGate, AForbiddenVariableIsRefusedEvenForRoot)
{
    Caller caller = withEnvironment({"LD_PRELOAD="});
    caller.uid = user::root;
    EXPECT_EQ(letsChange(caller), "none");
    EXPECT_EQ(letsEach(false, caller), "none");
}

TEST_F(CallerGate, NamesSimilarToForbiddenOnesAreAccepted)
{
    EXPECT_TRUE(letsRead(withEnvironment({"LD_PRELOAD2=x", "ld_preload=x", "XLD_PRELOAD=x",
                                          "ENVIRONMENT=x", "A=LD_PRELOAD=x", "PERL5LIB=x"})));
}

TEST_F(CallerGate, ALineFeedInAValueBeginsANewEntry)
{
    EXPECT_FALSE(letsRead(withEnvironment({"PS1=one\nENV=two"})));
    EXPECT_TRUE(letsRead(withEnvironment({"PS1=one\nTWO=two"})));
}

TEST_F(CallerGate, ACarriageReturnInANameIsIgnored)
{
    EXPECT_FALSE(letsRead(withEnvironment({"LD_PRE\rLOAD=x"})));
}

TEST_F(CallerGate, AForbiddenNameIsFoundAfterAByteOrderMark)
{
    for (const char *mark : {"\\377\\376", "\\376\\377", "\\357\\273\\277"}) {
        host::writeScript("/srv/start", QByteArray("exec env -i \"$(printf '") + mark +
                                            "')=x\" LD_PRELOAD= \"$@\"\n");
        EXPECT_FALSE(letsRead(wrapped({"/srv/start"}))) << mark;
        EXPECT_EQ(letsChange(wrapped({"/srv/start"})), "none") << mark;
    }
}

TEST_F(CallerGate, AByteOrderMarkAloneIsAccepted)
{
    host::writeScript("/srv/start", "exec env -i \"$(printf '\\377\\376')=x\" \"$@\"\n");
    EXPECT_TRUE(letsRead(wrapped({"/srv/start"})));
}

TEST_F(CallerGate, AnEmptyEnvironmentIsAccepted)
{
    EXPECT_TRUE(letsRead(wrapped({"env", "-i"})));
}

TEST_F(CallerGate, AForbiddenVariableIsRefusedBeforeTheStatusToolRuns)
{
    EXPECT_FALSE(letsRead(withEnvironment({"ENV="})));
    EXPECT_EQ(statusToolRuns(), 0);
}

TEST_F(CallerGate, TheEnvironmentIsWrittenToTheDebugLog)
{
    EXPECT_TRUE(letsRead(wrapped({"env", "-i", "FIRST=1", "SECOND=two words"})));
    EXPECT_THAT(host::readFile("/run/daemon.err").split('\n'),
                Contains(QByteArray("environVars (\"FIRST=1\", \"SECOND=two words\", \"\")")));
}

// --- the namespaces ---

class CallerNamespace : public CallerGate
{
protected:
    /// The warnings since the start of the daemon.
    static QString warnings() { return daemonMessages().mid(1).join('\n'); }

    static QString linkOf(const char *name)
    {
        char target[64] = {};
        EXPECT_GT(readlink(qPrintable(QString("/proc/1/ns/") + name), target, sizeof target - 1),
                  0);
        return target;
    }

    /// Expects one warning: @p text with two differing links of the namespace @p name, the host's
    /// and the caller's.
    static void expectMismatch(const char *name, const QString &text)
    {
        const QString host = QRegularExpression::escape(linkOf(name));
        const QRegularExpression expected(
            QString("^%1 Host: \"%2\" Caller: \"(?!%2)%3:\\[\\d+\\]\"$")
                .arg(QRegularExpression::escape(text), host, name));
        EXPECT_TRUE(expected.match(warnings()).hasMatch()) << qPrintable(warnings());
    }
};

TEST_F(CallerNamespace, AnotherUserNamespaceIsRefused)
{
    EXPECT_FALSE(letsRead(wrapped({"unshare", "--user", "--map-root-user"})));
    expectMismatch("user", "[!] Sandbox detected: User namespace mismatch.");
}

TEST_F(CallerNamespace, AnotherMountNamespaceIsRefused)
{
    EXPECT_FALSE(letsRead(wrapped({"unshare", "--mount"})));
    expectMismatch("mnt", "[!] Sandbox detected: Mount namespace mismatch.");
}

TEST_F(CallerNamespace, AnotherPidNamespaceIsRefused)
{
    EXPECT_FALSE(letsRead(wrapped({"unshare", "--pid", "--fork"})));
    expectMismatch("pid", "[!] Sandbox detected: Pid namespace mismatch.");
}

TEST_F(CallerNamespace, OnlyTheFirstMismatchIsReported)
{
    EXPECT_FALSE(
        letsRead(wrapped({"unshare", "--user", "--map-root-user", "--mount", "--pid", "--fork"})));
    expectMismatch("user", "[!] Sandbox detected: User namespace mismatch.");
    EXPECT_EQ(statusToolRuns(), 0);
}

TEST_F(CallerNamespace, TheMountNamespaceIsCheckedBeforeThePidNamespace)
{
    EXPECT_FALSE(letsRead(wrapped({"unshare", "--mount", "--pid", "--fork"})));
    expectMismatch("mnt", "[!] Sandbox detected: Mount namespace mismatch.");
}

TEST_F(CallerNamespace, OtherNamespacesMayDiffer)
{
    EXPECT_TRUE(letsRead(wrapped({"unshare", "--net", "--uts", "--ipc", "--cgroup"})));
}

TEST_F(CallerNamespace, EveryMethodRefusesAnotherMountNamespace)
{
    EXPECT_EQ(letsChange(wrapped({"unshare", "--mount"})), "none");
    EXPECT_EQ(letsEach(false, wrapped({"unshare", "--mount"})), "none");
}

/// Runs the daemon without the right to read other processes' namespaces.
class BlindGate : public CallerGate
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        startDaemon(soundEnvironment, without("-sys_ptrace"));
    }

    /// A command that starts another command without @p capabilities, in setpriv's notation.
    static QStringList without(const QString &capabilities)
    {
        return {"setpriv", "--bounding-set", capabilities, "--inh-caps", "-all", "--"};
    }
};

TEST_F(BlindGate, AnUnreadableNamespaceIsRefusedWithAMessageThatNamesTheProcess)
{
    // The daemon can read the caller's environment, since the caller has no more rights than the
    // daemon. It cannot read the namespaces of process 1, which has more.
    const Caller caller =
        wrapped(without("-sys_ptrace") +
                QStringList{"sh", "-c", "echo $$ > /run/caller.pid; exec \"$@\"", "sh"});
    QStringList expected{"dbus service start "};
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(letsRead(caller));
        const QString pid = QString::fromUtf8(host::readFile("/run/caller.pid")).trimmed();
        expected << "[!] Failed to read namespace for PID: " + pid;
        EXPECT_EQ(daemonMessages(), expected);
    }
}

TEST_F(BlindGate, AnUnreadableEnvironmentIsRefusedWithADebugMessage)
{
    stopDaemon();
    startDaemon(soundEnvironment, without("-sys_ptrace,-perfmon,-sys_admin"));
    EXPECT_FALSE(letsRead(ordinaryUser()));
    ASSERT_EQ(daemonMessages().size(), 2);
    EXPECT_THAT(daemonMessages()[1].toStdString(),
                testing::MatchesRegex("file.open failed \"/proc/[0-9]+/environ\""));
    EXPECT_EQ(statusToolRuns(), 0);
}

} // namespace
