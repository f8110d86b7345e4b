// SPDX-License-Identifier: MIT
#include "forgeries/forgery_host.h"

#include "support/host_files.h"
#include "support/settings_paths.h"
#include "support/stand_in.h"

#include <QFile>
#include <QMap>

#include <sys/stat.h>

namespace {

constexpr const char *exportPath = "/tmp/halvex_alerts.log";

const QMap<QString, QByteArray> &files()
{
    static const QMap<QString, QByteArray> contents{
        {settings::notifyPath, "<ossec_config><alerts/></ossec_config>\n"},
        {settings::interventionPath, "action \"block\" {\ntimeout = \"1\"\n}\n"},
        {settings::aiPath, "dga_detect: 0\n"},
    };
    return contents;
}

QStringList environment()
{
    return withSanitizerOptions({"PATH=/usr/sbin:/usr/bin:/sbin:/bin"});
}

} // namespace

const QList<WordedCall> &allWordedCalls()
{
    static const QList<WordedCall> calls{
        {"getServiceStatus", {"s=halvex-ebpf", "i=0"}},
        {"setServiceStatus", {"s=halvex-ebpf", "i=1", "i=0"}},
        {"restartService", {"s=halvex-ebpf"}},
        {"getNotifyConfig", {}},
        {"setNotifyConfig", {"s=0", "s=30", "s=1"}},
        {"getInterventionConfig", {"s=block", "s=timeout"}},
        {"setInterventionConfig", {"s=block", "s=timeout", "s=60"}},
        {"getAiConfig", {"(i)=0", "s=dga_detect"}},
        {"setAiConfig", {"(i)=0", "s=dga_detect", "s=1"}},
        {"installPackages", {"as=halvex-net-ai"}},
        {"generateLogFile", {}},
        {"getEventTotalCount", {}},
        {"getAiInferencesCount", {}},
    };
    return calls;
}

void ForgeryHost::SetUp()
{
    // The bus writes a line about each message that it refuses. On a pipe that is not read, it
    // would block.
    bus.setStandardErrorFile(QProcess::nullDevice());
    DaemonHost::SetUp();
    host::writeFile("/usr/sbin/halvex-desktop", host::readFile(ODD_FRONT_END), 0755);
    host::writeFile("/usr/local/bin/stranger", host::readFile(ODD_FRONT_END), 0755);
    for (const QString &path : files().keys()) {
        host::writeFile(path, files()[path]);
    }
    host::writeFile("/var/lib/halvex/var/run/halvex-research.state", "events_processed='1234'\n");
    host::writeStandIn("/usr/bin/systemctl");
}

Reply ForgeryHost::odd(const QStringList &words, const Caller &caller)
{
    const auto result = host::run(frontEndCommand(caller, words), environment());
    EXPECT_FALSE(result.output.isEmpty())
        << qPrintable(words.join(' ')) << ": " << result.errors.constData();
    return parseReply(result.output);
}

pid_t ForgeryHost::startOdd(QProcess &process, const QStringList &words, const Caller &caller)
{
    const QStringList command = frontEndCommand(caller, words);
    process.setEnvironment(environment());
    process.start(command.first(), command.mid(1));
    EXPECT_TRUE(process.waitForReadyRead(patienceMs)) << process.readAllStandardError().constData();
    const QByteArray line = process.readLine();
    EXPECT_TRUE(line.startsWith("connected ")) << line.constData();
    return line.mid(10).trimmed().toInt();
}

Reply ForgeryHost::finishOdd(QProcess &process)
{
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(patienceMs));
    const QByteArray output = process.readAllStandardOutput();
    EXPECT_FALSE(output.isEmpty()) << process.readAllStandardError().constData();
    return parseReply(output);
}

void ForgeryHost::holdGate()
{
    ASSERT_EQ(mkfifo("/run/gate", 0600), 0);
    host::writeScript("/usr/sbin/getstatus",
                      "if mkdir /run/held 2>/dev/null; then cat /run/gate; fi\n");
}

void ForgeryHost::awaitHeldGate()
{
    ASSERT_TRUE(waitFor([] { return QFile::exists("/run/held"); }));
}

void ForgeryHost::releaseGate()
{
    host::writeFile("/run/gate", "three admin: off\n");
}

void ForgeryHost::expectLetIn(const Reply &reply)
{
    EXPECT_EQ(reply, (Reply{0, {"1234"}}));
}

void ForgeryHost::expectRefused(const Reply &reply)
{
    EXPECT_TRUE(reply.status == -999 || !reply.error.isEmpty()) << testing::PrintToString(reply);
}

void ForgeryHost::expectNothingDone()
{
    EXPECT_EQ(host::standInCalls(), QStringList());
    for (const QString &path : files().keys()) {
        EXPECT_EQ(host::readFile(path), files()[path]) << qPrintable(path);
    }
    EXPECT_FALSE(QFile::exists(exportPath));
    EXPECT_FALSE(host::readFile("/run/daemon.err").contains("Error occurred:"))
        << "the upgrade service was called";
}

void ForgeryHost::expectItServes()
{
    EXPECT_EQ(call("getEventTotalCount", {}, Caller{user::ordinary, frontEndPaths.first()}),
              (Reply{0, {"1234"}}));
}

int ForgeryHost::callsAtTheGate()
{
    return host::readFile("/run/daemon.err").count("environVars (");
}
