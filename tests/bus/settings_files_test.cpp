// SPDX-License-Identifier: MIT
//
// Which of the settings files a call opens, and which it leaves alone.
#include "support/daemon_host.h"
#include "support/file_openings.h"
#include "support/host_files.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString notifyPath = "/etc/halvex/research/etc/ossec.conf";
const QString interventionPath = "/etc/halvex/intervention.conf";
const QString blockTimePath = "/etc/halvex/interventions/.block_time";
const QString aiPath = "/usr/lib/halvex_net_ai/config.yaml";
const QString serverAiPath = "/opt/norva-ai-dga-detect/config.yaml";

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

    /// The settings files that are opened by a call, which is answered with @p status.
    QStringList openedBy(const QString &method, const QStringList &arguments, int status,
                         const Caller &caller = {})
    {
        FileOpenings openings(allPaths);
        EXPECT_EQ(call(method, arguments, caller).status, status) << qPrintable(method);
        return openings.take();
    }

    /// The flags with which the daemon has the file at @p path open at the moment; -1 when it has
    /// not.
    [[nodiscard]] int flagsOf(const QString &path) const
    {
        const QString process = QString("/proc/%1/").arg(daemon.processId());
        const QDir descriptors(process + "fd");
        for (const QString &name : descriptors.entryList(QDir::Files | QDir::System)) {
            if (QFile::symLinkTarget(descriptors.filePath(name)) == path) {
                const QByteArray info = host::readFile(process + "fdinfo/" + name);
                return info.mid(info.indexOf("flags:") + 6)
                    .trimmed()
                    .split('\n')
                    .first()
                    .toInt(nullptr, 8);
            }
        }
        return -1;
    }

    /// Expects that the daemon, as soon as it has the pipe at @p path open for @p direction, has it
    /// open close-on-exec.
    void expectCloseOnExec(const QString &path, int direction)
    {
        int flags = -1;
        EXPECT_TRUE(waitFor([&] {
            flags = flagsOf(path);
            return flags >= 0 && (flags & O_ACCMODE) == direction;
        }));
        EXPECT_TRUE(flags >= 0 && (flags & O_CLOEXEC) != 0) << qPrintable(path);
    }

    /// Puts a pipe in the place of the settings file at @p path, which holds up the daemon where it
    /// reads or writes, and looks at it there. The call changes @p content, which must be more than
    /// a pipe holds.
    void expectCloseOnExec(const QString &path, const QByteArray &content,
                           const QStringList &methodAndArguments)
    {
        const QByteArray name = QFile::encodeName(path);
        ASSERT_TRUE(QFile::remove(path));
        ASSERT_EQ(mkfifo(name.constData(), 0600), 0);
        const int input = open(name.constData(), O_RDWR | O_CLOEXEC); // does not wait for a reader
        ASSERT_GE(input, 0);
        QProcess caller;
        const QStringList command = frontEndCommand({}, QStringList{"--json"} + methodAndArguments);
        caller.start(command.first(), command.mid(1));
        expectCloseOnExec(path, O_RDONLY);
        ASSERT_EQ(write(input, content.constData(), size_t(content.size())), content.size());
        close(input);

        QFile output(path);
        ASSERT_TRUE(output.open(QIODevice::ReadOnly));
        expectCloseOnExec(path, O_WRONLY);
        EXPECT_GT(output.readAll().size(), 100000);
        EXPECT_TRUE(caller.waitForFinished());
        EXPECT_EQ(parseReply(caller.readAllStandardOutput()), Reply{0});
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

TEST_F(SettingsFiles, TheBlockTimeOpensTheBlockTimeFileOnly)
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

TEST_F(SettingsFiles, FilesAreOpenedCloseOnExec)
{
    const QByteArray filling = '#' + QByteArray(200000, 'x');
    expectCloseOnExec(notifyPath,
                      "<ossec_config><alerts><notify/></alerts>" + filling + "</ossec_config>",
                      {"setNotifyConfig", "1", "2", "3"});
    expectCloseOnExec(interventionPath, "action \"block\"\ntimeout = 1\n" + filling,
                      {"setInterventionConfig", "block", "timeout", "2"});
    expectCloseOnExec(blockTimePath, "TIMEOUT=\n" + filling + '\n',
                      {"setInterventionConfig", "block", "blockip_timeout", "2s"});
    expectCloseOnExec(aiPath, "text: \"" + filling + "\"\n", {"setAiConfig", "0", "a", "1"});
}

} // namespace
