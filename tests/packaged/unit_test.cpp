// SPDX-License-Identifier: MIT
//
// Tests of the settings of the unit that no other test of the package covers.
//
// Where possible, programs that the daemon runs show what is denied. But the booted host itself has
// no device filter, and it denies some system calls and capabilities to all its units. For these
// settings, the tests read what systemd reports.
#include "packaged/installed_host.h"
#include "support/host_files.h"

#include <QSet>

#include <csignal>
#include <linux/capability.h>
#include <map>

namespace {

constexpr const char *unit = "halvex-desktop-daemon";
const Caller otto{user::ordinary};

QSet<QString> setOf(const QByteArray &words)
{
    const QStringList list = QString::fromUtf8(words).split(' ', Qt::SkipEmptyParts);
    return {list.begin(), list.end()};
}

class Unit : public InstalledHost
{
protected:
    /// Lets the daemon run try-call, and returns what it prints and its exit status.
    QByteArray tryInDaemon(const QByteArray &name)
    {
        host::writeScript("/usr/sbin/getstatus",
                          TRY_CALL " " + name + " >/run/tried\necho $? >>/run/tried\n");
        EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
        return host::readFile("/run/tried");
    }

    /// The same outside the daemon's unit.
    static QByteArray tryElsewhere(const QByteArray &name)
    {
        return mustRun({"sh", "-c", TRY_CALL " " + name + "\necho $?\n"});
    }
};

// --- start ---

TEST_F(Unit, ADaemonThatIsKilledManyTimesIsStartedEachTime)
{
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(call("getEventTotalCount", {}, otto), (Reply{-1, {""}})) << i;
        const int pid = daemonPid();
        ASSERT_NE(pid, 0) << i;
        ASSERT_EQ(kill(pid, SIGKILL), 0);
        ASSERT_TRUE(waitFor([pid] { return daemonPid() != pid; }));
    }
}

TEST_F(Unit, AStartFailsIfTheDaemonDoesNotGetItsName)
{
    addToUnit("ExecStart=\nExecStart=/bin/sleep infinity\nTimeoutStartSec=1s\n");
    EXPECT_NE(host::run({"systemctl", "start", unit}).exitCode, 0);
}

TEST_F(Unit, NamesManualPagesOfThePackage)
{
    const QByteArrayList pages = show("Documentation").split(' ');
    EXPECT_EQ(pages.size(), 2);
    const QByteArray installed = mustRun({"dpkg", "--listfiles", unit});
    for (const QByteArray &page : pages) {
        const QString name = QString::fromUtf8(page).section(':', 1).section('(', 0, 0);
        const QString section = QString::fromUtf8(page).section('(', 1).section(')', 0, 0);
        const QString path = QString("/usr/share/man/man%2/%1.%2.gz\n").arg(name, section);
        EXPECT_TRUE(installed.contains(path.toUtf8())) << page.constData();
    }
}

// --- what is denied ---

TEST_F(Unit, ADeniedSystemCallFailsWithEperm)
{
    // Without the capability, the kernel would refuse the call too.
    addToUnit("CapabilityBoundingSet=CAP_SYS_BOOT\n");
    EXPECT_EQ(tryElsewhere("reboot"), "EINVAL\n0\n");
    EXPECT_EQ(tryInDaemon("reboot"), "EPERM\n0\n");
}

TEST_F(Unit, CallsOfEachUnneededGroupAreDenied)
{
    const QByteArray filter = show("SystemCallFilter");
    ASSERT_TRUE(filter.startsWith('~')) << "the filter is no deny-list";
    for (const char *denied :
         {"clock_settime", "modify_ldt", "uselib", "iopl", "kexec_load", "swapon"}) {
        EXPECT_TRUE(setOf(filter.mid(1)).contains(denied)) << denied;
    }
}

TEST_F(Unit, TheExecutionDomainIsLocked)
{
    EXPECT_EQ(tryElsewhere("personality"), "no error\n0\n");
    EXPECT_EQ(tryInDaemon("personality"), "EPERM\n0\n");
}

#ifdef __x86_64__
TEST_F(Unit, ACallOfAnotherArchitectureEndsItsProcess)
{
    EXPECT_TRUE(tryElsewhere("x32").endsWith("\n0\n"))
        << "the call ends the process outside the unit too";
    EXPECT_EQ(tryInDaemon("x32"), QByteArray::number(128 + SIGSYS) + '\n');
}
#endif

TEST_F(Unit, TheDaemonHasAllCapabilitiesExceptThoseThatNothingNeeds)
{
    // ProtectClock= removes the last two.
    const std::map<QString, int> unneeded{
        {"cap_audit_control", CAP_AUDIT_CONTROL},
        {"cap_audit_read", CAP_AUDIT_READ},
        {"cap_block_suspend", CAP_BLOCK_SUSPEND},
        {"cap_lease", CAP_LEASE},
        {"cap_mac_admin", CAP_MAC_ADMIN},
        {"cap_mac_override", CAP_MAC_OVERRIDE},
        {"cap_sys_boot", CAP_SYS_BOOT},
        {"cap_sys_pacct", CAP_SYS_PACCT},
        {"cap_sys_rawio", CAP_SYS_RAWIO},
        {"cap_sys_tty_config", CAP_SYS_TTY_CONFIG},
        {"cap_syslog", CAP_SYSLOG},
        {"cap_sys_time", CAP_SYS_TIME},
        {"cap_wake_alarm", CAP_WAKE_ALARM},
    };
    const auto boundingSetOf = [](const QString &pid) {
        const QByteArray status = host::readFile("/proc/" + pid + "/status");
        const QByteArray field = "\nCapBnd:\t";
        return status.mid(status.indexOf(field) + field.size(), 16).toULongLong(nullptr, 16);
    };
    QSet<QString> expected = setOf(mustRun({"systemctl", "show", "--value", "--property",
                                            "CapabilityBoundingSet", "booted-host-command"})
                                       .trimmed());
    quint64 expectedBits = boundingSetOf("self");
    for (const auto &[name, number] : unneeded) {
        EXPECT_TRUE(expected.remove(name)) << qPrintable(name);
        expectedBits &= ~(quint64{1} << number);
    }
    EXPECT_EQ(setOf(show("CapabilityBoundingSet")), expected);
    EXPECT_EQ(call("getEventTotalCount", {}, otto).status, -1);
    EXPECT_EQ(boundingSetOf(QString::number(daemonPid())), expectedBits);
}

// --- what is not denied ---

TEST_F(Unit, AllDevicesArePermitted)
{
    const QByteArrayList permitted = show("DeviceAllow").split('\n');
    EXPECT_TRUE(permitted.contains("char-* rwm")) << show("DeviceAllow").constData();
    EXPECT_TRUE(permitted.contains("block-* rwm")) << show("DeviceAllow").constData();
}

// The control group of the daemon has the engine too.
TEST_F(Unit, ADaemonWhoseEngineRunsOutOfMemoryIsNotStopped)
{
    EXPECT_EQ(show("OOMPolicy"), "continue");
}

} // namespace
