// SPDX-License-Identifier: MIT
//
// What the daemon does when disks, tools or the bus fail, or when thousands of calls arrive. After
// each of these, except the loss of the bus, it must answer the next call.
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/process_resources.h"
#include "support/processor_time.h"
#include "support/settings_paths.h"
#include "support/stand_in.h"

#include <QDir>
#include <QFile>
#include <QThread>

#include <chrono>
#include <memory>
#include <optional>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char *statePath = "/var/lib/halvex/var/run/halvex-research.state";

class Faults : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        host::writeFile(statePath, "events_processed='1234'\n");
        startDaemon();
    }

    void expectItServes()
    {
        EXPECT_EQ(call("getEventTotalCount", {}, Caller{user::ordinary}), (Reply{0, {"1234"}}));
    }

    Reply change(const QString &method, const QStringList &arguments)
    {
        return call(method, arguments, Caller{user::wheelMember});
    }

    /// Expects that the change keeps the daemon busy for ever. Then starts another daemon.
    void expectToSearchForEver(const QString &method, const QStringList &arguments)
    {
        QProcess caller;
        const QStringList command =
            frontEndCommand(Caller{user::wheelMember}, QStringList{"--json", method} + arguments);
        caller.start(command.first(), command.mid(1));
        EXPECT_TRUE(keepsBusy(static_cast<pid_t>(daemon.processId())));
        EXPECT_FALSE(caller.waitForFinished(0));
        stopDaemon();
        EXPECT_TRUE(caller.waitForFinished(patienceMs));
        startDaemon();
    }

    static void mountSmallDisk(const QString &directory)
    {
        ASSERT_TRUE(QDir().mkpath(directory));
        // Only root may write to the small disk. In a directory that everybody may write to, the
        // kernel may prevent even root from opening another user's file.
        const QStringList mount{"mount", "-t", "tmpfs", "-o", "size=8k,mode=0755", "small"};
        ASSERT_EQ(host::run(mount + QStringList{directory}).exitCode, 0);
    }

    static void remount(const QString &directory, const QString &options)
    {
        ASSERT_EQ(host::run({"mount", "-o", "remount," + options, directory}).exitCode, 0);
    }
};

// --- disks ---

/// A settings file, a change of it, and the results of the change.
struct Store
{
    const char *directory;
    const char *path;
    QByteArray content;
    QString method;
    QStringList arguments;         ///< all arguments except the last, which is the value
    int onAFullDisk;               ///< the status when the new content does not fit
    std::optional<int> afterwards; ///< the status of the next change; none if it never returns
    int onAReadOnlyDisk;
    QByteArray changed; ///< the content after the value 2 has been set
};

const QList<Store> stores{
    {"/etc/halvex/research/etc",
     settings::notifyPath,
     "<ossec_config>\n<alerts>\n<notify>\n<notify_fold>1</notify_fold>\n</notify>\n</alerts>\n"
     "</ossec_config>\n",
     "setNotifyConfig",
     {"1", "1"},
     -1,
     -1,
     -1,
     "<ossec_config>\n<alerts>\n<notify>\n<notify_fold>2</notify_fold>\n"
     "<notify_disabled>1</notify_disabled>\n<notify_timeout>1</notify_timeout>\n</notify>\n"
     "</alerts>\n</ossec_config>\n"},
    {"/etc/halvex",
     settings::interventionPath,
     "action \"a\"\nb = \"1\"\n",
     "setInterventionConfig",
     {"a", "b"},
     0,
     {},
     -1,
     "action \"a\"\nb = \"2\"\n"},
    {"/etc/halvex/interventions",
     settings::blockTimePath,
     "TIMEOUT=\n",
     "setInterventionConfig",
     {"a", "blockip_timeout"},
     0,
     0,
     -1,
     "TIMEOUT=\"timeout 2\"\n"},
    {"/usr/lib/halvex_net_ai",
     settings::aiPath,
     "a: 1\n",
     "setAiConfig",
     {"0", "a"},
     0,
     -1,
     0,
     "a: 2"},
};

TEST_F(Faults, AFullDiskCutsTheSettingsOffButKeepsOwnerAndMode)
{
    const QString longText(60000, 'x');
    for (const Store &store : stores) {
        SCOPED_TRACE(store.path);
        const auto changeTo = [&](const QString &value) {
            return change(store.method, store.arguments + QStringList{value});
        };
        mountSmallDisk(store.directory);
        remount(store.directory, "size=1m");
        host::writeFile(store.path, store.content, 0640);
        ASSERT_EQ(chown(store.path, 4001, 4002), 0);
        EXPECT_EQ(changeTo(longText), Reply{0});
        const QByteArray whole = host::readFile(store.path);
        EXPECT_GT(whole.size(), longText.size());

        host::writeFile(store.path, store.content, 0640);
        remount(store.directory, "size=8k");
        EXPECT_EQ(changeTo(longText), Reply{store.onAFullDisk});
        EXPECT_TRUE(host::readFile(store.path) == whole.left(8192))
            << "the file does not end where the disk was full";
        EXPECT_EQ(host::ownerAndMode(store.path), "4001:4002 0640");
        expectItServes();

        // More room on the disk does not restore the lost content.
        remount(store.directory, "size=1m");
        if (store.afterwards) {
            EXPECT_EQ(changeTo("2"), Reply{*store.afterwards});
            EXPECT_TRUE(host::readFile(store.path).startsWith(whole.left(8192)));
        } else {
            expectToSearchForEver(store.method, store.arguments + QStringList{"2"});
        }

        // Once the file is complete again, a change succeeds.
        host::writeFile(store.path, store.content, 0640);
        EXPECT_EQ(changeTo("2"), Reply{0});
        EXPECT_EQ(host::readFile(store.path), store.changed);
        EXPECT_EQ(host::run({"umount", store.directory}).exitCode, 0);
    }
}

TEST_F(Faults, AReadOnlyDiskKeepsTheSettingsUnchanged)
{
    for (const Store &store : stores) {
        mountSmallDisk(store.directory);
        host::writeFile(store.path, store.content, 0640);
        remount(store.directory, "ro");
        EXPECT_EQ(change(store.method, store.arguments + QStringList{"2"}),
                  Reply{store.onAReadOnlyDisk})
            << store.path;
        EXPECT_EQ(host::readFile(store.path), store.content) << store.path;
        expectItServes();
        EXPECT_EQ(host::run({"umount", store.directory}).exitCode, 0);
    }
}

// --- the status tool ---

TEST_F(Faults, TheGateWaitsForASlowStatusTool)
{
    host::writeScript("/usr/sbin/getstatus", "sleep 1; echo three admin: on\n");
    EXPECT_EQ(call("restartService", {"halvex-ebpf"}), Reply{-999})
        << "the gate has not waited for the tool's answer";
    expectItServes();
}

TEST_F(Faults, AStatusToolThatPrintsGarbageMeansThatTheRolesAreNotSeparated)
{
    host::writeScript("/usr/sbin/getstatus", "head -c 1000000 /dev/urandom; exit 3\n");
    expectItServes();
    // The gate accepts root, but systemctl is missing.
    EXPECT_EQ(call("restartService", {"halvex-ebpf"}), Reply{-1});
}

#ifndef __SANITIZE_ADDRESS__ // the sanitizer keeps freed memory

TEST_F(Faults, AStatusToolsLineOfAHundredMegabytesNeedsLittleMemory)
{
    expectItServes();
    const int before = memoryOf(daemon.processId(), "VmHWM");
    host::writeScript("/usr/sbin/getstatus", "head -c 100000000 /dev/zero | tr '\\0' x\n");
    expectItServes();
    EXPECT_LT(memoryOf(daemon.processId(), "VmHWM"), before + 8 * 1024);
}

#endif

TEST_F(Faults, ACallWaitsUntilAnEndlessStatusToolIsKilled)
{
    host::writeScript("/usr/sbin/getstatus", "echo $$ >/run/tool; exec sleep infinity\n");
    QProcess caller;
    const QStringList command =
        frontEndCommand(Caller{user::ordinary}, {"--json", "getEventTotalCount"});
    caller.start(command.first(), command.mid(1));
    ASSERT_TRUE(waitFor(
        [] { return QFile::exists("/run/tool") && host::readFile("/run/tool").endsWith('\n'); }));
    EXPECT_FALSE(caller.waitForFinished(0));
    ASSERT_EQ(kill(host::readFile("/run/tool").toInt(), SIGKILL), 0);
    ASSERT_TRUE(caller.waitForFinished(patienceMs));
    EXPECT_EQ(parseReply(caller.readAllStandardOutput()), (Reply{0, {"1234"}}));
}

// --- the tools behind the methods ---

TEST_F(Faults, KilledSlowAndVerboseToolsDoNotStopTheDaemon)
{
    ASSERT_EQ(host::run({"ip", "link", "set", "lo", "up"}).exitCode, 0);
    for (const char *tool : {"/usr/bin/systemctl", "/usr/bin/pellmar", "/usr/bin/ps"}) {
        host::writeScript(tool, "kill -9 $$\n");
    }
    EXPECT_EQ(change("setServiceStatus", {"halvex-ebpf", "1", "0"}), Reply{-1});
    EXPECT_EQ(change("setServiceStatus", {"halvex.net.ai", "0", "0"}), Reply{-1});
    EXPECT_EQ(call("getServiceStatus", {"halvex.net.ai", "0"}), Reply{2});
    expectItServes();

    host::writeScript("/usr/bin/systemctl", "sleep 2; echo active\n");
    EXPECT_EQ(call("getServiceStatus", {"halvex-ebpf", "0"}), Reply{1});
    EXPECT_EQ(change("setServiceStatus", {"halvex-ebpf", "1", "0"}), Reply{0});
    host::writeScript("/usr/bin/pellmar", "sleep 1; echo stopped\n");
    EXPECT_EQ(change("setServiceStatus", {"halvex.net.ai", "0", "0"}), Reply{0});
    expectItServes();

    const QByteArray chatter = "head -c 50000000 /dev/zero | tr '\\0' x\n";
    for (const char *tool : {"/usr/bin/systemctl", "/usr/bin/pellmar", "/usr/bin/ps"}) {
        host::writeScript(tool, chatter);
    }
    EXPECT_EQ(call("getServiceStatus", {"halvex-ebpf", "0"}), Reply{0});
    EXPECT_EQ(change("setServiceStatus", {"halvex-ebpf", "1", "0"}), Reply{0});
    EXPECT_EQ(change("setServiceStatus", {"halvex.net.ai", "0", "0"}), Reply{0});
    expectItServes();
}

// --- the bus ---

TEST_F(Faults, ADaemonWithoutItsBusStaysIdleAndDoesNotExit)
{
    bus.kill();
    bus.waitForFinished();
    const auto pid = static_cast<pid_t>(daemon.processId());
    // A daemon that is in a busy loop would use processor time during this wait.
    EXPECT_TRUE(waitFor([pid] {
        const auto before = processorTime(pid);
        QThread::msleep(2000);
        return processorTime(pid) - before < std::chrono::milliseconds(20);
    })) << "the daemon is in a busy loop";
    daemon.waitForFinished(0);
    EXPECT_EQ(daemon.state(), QProcess::Running);
}

// --- callers ---

TEST_F(Faults, SixtyFourCallersAtOnceAllGetTheirOwnAnswers)
{
    host::writeFile(settings::interventionPath, "action \"a\"\nb = \"1\"\n");
    std::vector<std::unique_ptr<QProcess>> callers;
    for (int i = 0; i < 64; ++i) {
        const QStringList call =
            i % 2 == 0 ? QStringList{"getEventTotalCount"}
                       : QStringList{"setInterventionConfig", "a", "b", QString::number(i)};
        const unsigned uid = i % 4 == 1 ? user::ordinary : user::wheelMember;
        const QStringList command = frontEndCommand(Caller{uid}, QStringList{"--json"} + call);
        callers.push_back(std::make_unique<QProcess>());
        callers.back()->start(command.first(), command.mid(1));
    }
    for (int i = 0; i < 64; ++i) {
        ASSERT_TRUE(callers[std::size_t(i)]->waitForFinished(patienceMs));
        const Reply expected = i % 2 == 0   ? Reply{0, {"1234"}}
                               : i % 4 == 1 ? Reply{-999}
                                            : Reply{0};
        EXPECT_EQ(parseReply(callers[std::size_t(i)]->readAllStandardOutput()), expected) << i;
    }
    EXPECT_EQ(systemLog.takeLines().size(), 16);
}

#ifndef __SANITIZE_ADDRESS__ // the sanitizer keeps freed memory

TEST_F(Faults, TwentyThousandUnawaitedCallsNeedLittleMemoryWhichIsFreed)
{
    constexpr int limitKib = 64 * 1024;
    stopDaemon();
    disableHugePages();
    startDaemon();
    host::writeFile("/opt/appdata/halvex/bin/halvex-desktop", host::readFile(LEAVING_FRONT_END),
                    0755);
    const int before = memoryOf(daemon.processId(), "VmRSS");
    Caller flooder{user::ordinary, "/opt/appdata/halvex/bin/halvex-desktop"};
    const auto result = host::run(
        frontEndCommand(flooder, {"flood", "20000", "setNotifyConfig", "1", "2", "3"}), {"ENV="});
    EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
    expectItServes();
    EXPECT_EQ(systemLog.takeLines().size(), 20000);
    EXPECT_LT(memoryOf(daemon.processId(), "VmHWM"), limitKib);
    EXPECT_TRUE(waitFor([&] { return memoryOf(daemon.processId(), "VmRSS") < before + 4 * 1024; }))
        << memoryOf(daemon.processId(), "VmRSS");
}

#endif

} // namespace
