// SPDX-License-Identifier: MIT
//
// Which of the settings files a call opens, and which it does not open.
#include "support/daemon_host.h"
#include "support/file_openings.h"
#include "support/host_files.h"
#include "support/settings_paths.h"

#include <QFile>

#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

const QString notifyPath = settings::notifyPath;
const QString interventionPath = settings::interventionPath;
const QString blockTimePath = settings::blockTimePath;
const QString aiPath = settings::aiPath;
const QString serverAiPath = settings::serverAiPath;

const QString statePath = "/var/lib/halvex/var/run/halvex-research.state";

const QStringList allPaths{notifyPath, interventionPath, blockTimePath, aiPath, serverAiPath};

class SettingsFiles : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        host::writeFile("/etc/os-release", "ID=norva\n");
        host::writeFile(notifyPath, "<ossec_config><alerts><notify/></alerts></ossec_config>");
        host::writeFile(interventionPath, "action \"block\"\ntimeout = \"30\"\n"
                                          "blockip_timeout = \"1\"\n");
        host::writeFile(blockTimePath, "TIMEOUT=\"timeout 600s\"\n");
        host::writeFile(aiPath, "dga_detect: 0\n");
        host::writeFile(serverAiPath, "dga_detect: 0\n");
        startDaemon();
    }

    /// Makes a call, expects the status @p status, and returns the settings files that the call
    /// opened.
    QStringList openedBy(const QString &method, const QStringList &arguments, int status,
                         const Caller &caller = {})
    {
        FileOpenings openings(allPaths);
        EXPECT_EQ(call(method, arguments, caller).status, status) << qPrintable(method);
        return openings.take();
    }
};

TEST_F(SettingsFiles, EachCallOpensItsOwnFileOnly)
{
    EXPECT_EQ(openedBy("getNotifyConfig", {}, 0), QStringList{notifyPath});
    EXPECT_EQ(openedBy("setNotifyConfig", {"1", "2", "3"}, 0), QStringList{notifyPath});
    EXPECT_EQ(openedBy("getInterventionConfig", {"block", "timeout"}, 0),
              QStringList{interventionPath});
    EXPECT_EQ(openedBy("setInterventionConfig", {"block", "timeout", "60"}, 0),
              QStringList{interventionPath});
    EXPECT_EQ(openedBy("getAiConfig", {"0", "dga_detect"}, 0), QStringList{aiPath});
    EXPECT_EQ(openedBy("setAiConfig", {"0", "dga_detect", "1"}, 0), QStringList{aiPath});
}

TEST_F(SettingsFiles, ACallAboutTheBlockTimeOpensTheBlockTimeFileOnly)
{
    EXPECT_EQ(openedBy("getInterventionConfig", {"block", "blockip_timeout"}, 0),
              QStringList{blockTimePath});
    EXPECT_EQ(openedBy("setInterventionConfig", {"block", "blockip_timeout", "900s"}, 0),
              QStringList{blockTimePath});
    EXPECT_EQ(openedBy("getInterventionConfig", {"block", "Blockip_timeout"}, 0),
              QStringList{interventionPath});
    EXPECT_EQ(openedBy("setInterventionConfig", {"block", "lockip_timeout", "2"}, 0),
              QStringList{interventionPath});
}

TEST_F(SettingsFiles, AnEmptyNameOpensNoFile)
{
    for (const QStringList &names : {QStringList{"", "timeout"}, QStringList{"block", ""},
                                     QStringList{"", "blockip_timeout"}}) {
        EXPECT_EQ(openedBy("getInterventionConfig", names, -1), QStringList());
        EXPECT_EQ(openedBy("setInterventionConfig", names + QStringList{"1"}, -1), QStringList());
    }
}

TEST_F(SettingsFiles, AnUnknownTypeOrAnEmptyKeyOpensNoAiFile)
{
    for (const char *type : {"1", "-1", "2147483647"}) {
        EXPECT_EQ(openedBy("getAiConfig", {type, "dga_detect"}, -1), QStringList());
        EXPECT_EQ(openedBy("setAiConfig", {type, "dga_detect", "1"}, -1), QStringList());
    }
    EXPECT_EQ(openedBy("getAiConfig", {"0", ""}, -1), QStringList());
    EXPECT_EQ(openedBy("setAiConfig", {"0", "", "1"}, -1), QStringList());
    EXPECT_EQ(openedBy("setAiConfig", {"0", "dga_detect", ""}, -1), QStringList());
}

TEST_F(SettingsFiles, ARefusedCallerOpensNoFile)
{
    host::writeFile("/usr/bin/stranger", host::readFile("/usr/sbin/halvex-desktop"), 0755);
    const Caller stranger{user::root, "/usr/bin/stranger"};
    for (const MethodCall &method : allMethodCalls()) {
        EXPECT_EQ(openedBy(method.name, method.arguments, -999, stranger), QStringList());
        if (method.changes) {
            EXPECT_EQ(openedBy(method.name, method.arguments, -999, Caller{user::ordinary}),
                      QStringList());
        }
    }
    EXPECT_EQ(openedBy("setInterventionConfig", {"block", "blockip_timeout", "1s"}, -999, stranger),
              QStringList());
    EXPECT_EQ(openedBy("getInterventionConfig", {"block", "blockip_timeout"}, -999, stranger),
              QStringList());
}

/// A call that reads or writes the file at @p path.
struct FileCall
{
    QString path;
    QString method;
    QStringList arguments;
};

const QList<FileCall> fileCalls{
    {notifyPath, "getNotifyConfig", {}},
    {notifyPath, "setNotifyConfig", {"1", "2", "3"}},
    {interventionPath, "getInterventionConfig", {"block", "timeout"}},
    {interventionPath, "setInterventionConfig", {"block", "timeout", "60"}},
    {blockTimePath, "getInterventionConfig", {"block", "blockip_timeout"}},
    {blockTimePath, "setInterventionConfig", {"block", "blockip_timeout", "900s"}},
    {aiPath, "getAiConfig", {"0", "dga_detect"}},
    {aiPath, "setAiConfig", {"0", "dga_detect", "1"}},
    {statePath, "getEventTotalCount", {}},
};

TEST_F(SettingsFiles, AFileThatIsNotRegularIsAFailureAndBlocksNoLaterCall)
{
    const QList<QStringList> others{{"mkfifo"},
                                    {"mkdir"},
                                    {"ln", "-s", "/dev/zero"},
                                    {"ln", "-s", "/run/dbus/system_bus_socket"}};
    host::writeFile(statePath, "events_processed='1'\n");
    for (const QStringList &other : others) {
        for (const FileCall &each : fileCalls) {
            const QString aside = each.path + ".aside";
            ASSERT_TRUE(QFile::rename(each.path, aside));
            ASSERT_EQ(host::run(other + QStringList{each.path}).exitCode, 0);
            EXPECT_EQ(call(each.method, each.arguments).status, -1)
                << qPrintable(each.method + " of " + each.path + ": " + other.join(' '));
            ASSERT_EQ(host::run({"rm", "-r", each.path}).exitCode, 0);
            ASSERT_TRUE(QFile::rename(aside, each.path));
            EXPECT_EQ(call(each.method, each.arguments).status, 0);
        }
    }
}

TEST_F(SettingsFiles, AFifoWithAnOpenOtherEndIsAFailureAndNothingIsWrittenToIt)
{
    host::writeFile(statePath, "");
    for (const FileCall &each : fileCalls) {
        const QByteArray name = QFile::encodeName(each.path);
        QFile::remove(each.path);
        ASSERT_TRUE(mkfifo(name.constData(), 0600) == 0 || errno == EEXIST);
        const int otherEnd = open(name.constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        ASSERT_GE(otherEnd, 0);
        EXPECT_EQ(call(each.method, each.arguments).status, -1) << qPrintable(each.method);
        char byte = 0;
        EXPECT_EQ(read(otherEnd, &byte, 1), -1);
        close(otherEnd);
    }
}

TEST_F(SettingsFiles, SigtermWaitsUntilTheFileIsWritten)
{
    daemonMayEnd = true;
    const QByteArray padding = "<padding>" + QByteArray(48 << 20, 'x') + "</padding>\n";
    host::writeFile(notifyPath, "<ossec_config>\n<alerts>\n<notify>\n"
                                "<notify_fold>1</notify_fold>\n</notify>\n</alerts>\n" +
                                    padding + "</ossec_config>\n");
    const int notices = inotify_init1(IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(notices, qPrintable(notifyPath), IN_MODIFY), 0);
    const auto pid = static_cast<pid_t>(daemon.processId());
    std::thread terminator([notices, pid] {
        // The first change truncates the file.
        char event[sizeof(inotify_event) + NAME_MAX + 1];
        EXPECT_GT(read(notices, event, sizeof event), 0);
        EXPECT_EQ(kill(pid, SIGTERM), 0);
    });
    static_cast<void>(call("setNotifyConfig", {"0", "30", "2"}));
    terminator.join();
    close(notices);
    EXPECT_TRUE(daemon.waitForFinished(patienceMs));
    EXPECT_TRUE(host::readFile(notifyPath) ==
                "<ossec_config>\n<alerts>\n<notify>\n<notify_fold>2</notify_fold>\n"
                "<notify_disabled>0</notify_disabled>\n<notify_timeout>30</notify_timeout>\n"
                "</notify>\n</alerts>\n" +
                    padding + "</ossec_config>\n");
}

} // namespace
