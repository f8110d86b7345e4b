// SPDX-License-Identifier: MIT
#include "support/suite_host.h"

#include "support/host_files.h"
#include "support/wait_for.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr const char *statusToolText = "/run/getstatus.text";
constexpr const char *statusToolLog = "/run/getstatus.log";

void makeUsers()
{
    QByteArray groups;
    for (const QByteArray &line : host::readFile("/etc/group").split('\n')) {
        if (!line.isEmpty() && !line.startsWith("wheel:")) {
            groups += line + '\n';
        }
    }
    host::writeFile("/etc/group", groups + "wheel:x:2000:root,annabel,anna\n");
    host::writeFile("/etc/passwd", host::readFile("/etc/passwd") + "secadm:x:600:600::/:/bin/sh\n"
                                                                   "anna:x:2001:2001::/:/bin/sh\n"
                                                                   "otto:x:2002:2002::/:/bin/sh\n"
                                                                   "pia:x:2003:2000::/:/bin/sh\n");
}

QStringList environmentOf(const Caller &caller)
{
    return withSanitizerOptions(QStringList{"PATH=/usr/sbin:/usr/bin:/sbin:/bin"} +
                                caller.environment);
}

} // namespace

QStringList withSanitizerOptions(QStringList environment)
{
    for (const char *name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "GCOV_PREFIX"}) {
        if (qEnvironmentVariableIsSet(name)) {
            environment << QString("%1=%2").arg(name, qEnvironmentVariable(name));
        }
    }
    return environment;
}

bool operator==(const Reply &left, const Reply &right)
{
    return left.status == right.status && left.texts == right.texts && left.error == right.error;
}

void PrintTo(const Reply &reply, std::ostream *stream)
{
    *stream << "status " << reply.status << ", texts [" << qPrintable(reply.texts.join("] ["))
            << "], error \"" << qPrintable(reply.error) << "\"";
}

Reply parseReply(const QByteArray &json)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    Reply reply;
    reply.error = object["error"].toString();
    QVariantList values = object["values"].toArray().toVariantList();
    if (!values.isEmpty()) {
        reply.status = values.takeFirst().toInt();
    }
    for (const QVariant &value : values) {
        reply.texts << value.toString();
    }
    return reply;
}

const QList<MethodCall> &allMethodCalls()
{
    static const QList<MethodCall> calls{
        {"getServiceStatus", {"halvex-ebpf", "0"}, 0, false},
        {"setServiceStatus", {"halvex-ebpf", "1", "0"}, 0, true},
        {"restartService", {"halvex-ebpf"}, 0, true},
        {"getNotifyConfig", {}, 3, false},
        {"setNotifyConfig", {"0", "30", "1"}, 0, true},
        {"getInterventionConfig", {"block", "timeout"}, 1, false},
        {"setInterventionConfig", {"block", "timeout", "60"}, 0, true},
        {"getAiConfig", {"0", "dga_detect"}, 1, false},
        {"setAiConfig", {"0", "dga_detect", "1"}, 0, true},
        {"installPackages", {"halvex-net-ai"}, 0, true},
        {"generateLogFile", {}, 0, false},
        {"getEventTotalCount", {}, 1, false},
        {"getAiInferencesCount", {}, 1, false},
    };
    return calls;
}

void SuiteHost::SetUp()
{
    makeUsers();
    for (const QString &path : frontEndPaths) {
        host::writeFile(path, host::readFile(FRONT_END), 0755);
    }
    host::writeScript("/usr/sbin/getstatus",
                      QByteArray("echo run >>") + statusToolLog + "\ncat " + statusToolText + "\n");
    setStatusToolOutput("Three Admin : off\n");
    host::writeFile(statusToolLog, {});
}

Reply SuiteHost::call(const QString &method, const QStringList &arguments, const Caller &caller)
{
    const auto result = host::run(
        frontEndCommand(caller, QStringList{"--json", method} + arguments), environmentOf(caller));
    EXPECT_FALSE(result.output.isEmpty()) << "no answer: " << result.errors.constData();
    return parseReply(result.output);
}

Reply SuiteHost::callWithLongText(const QString &method, const QStringList &arguments,
                                  const QString &last, const Caller &caller)
{
    const auto result =
        host::run(frontEndCommand(caller, QStringList{"--json", "--input", method} + arguments),
                  environmentOf(caller), last.toUtf8());
    EXPECT_FALSE(result.output.isEmpty()) << "no answer: " << result.errors.constData();
    return parseReply(result.output);
}

void SuiteHost::startWaiting(QProcess &process, const QString &method, const QStringList &arguments,
                             const Caller &caller)
{
    const QStringList command =
        frontEndCommand(caller, QStringList{"--json", "--wait", method} + arguments);
    process.setEnvironment(environmentOf(caller));
    process.start(command.first(), command.mid(1));
    ASSERT_TRUE(process.waitForReadyRead(patienceMs)) << process.readAllStandardError().constData();
    ASSERT_TRUE(process.readLine().contains("waiting"));
}

Reply SuiteHost::finishWaiting(QProcess &process)
{
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(patienceMs));
    return parseReply(process.readAllStandardOutput());
}

QStringList SuiteHost::frontEndCommand(const Caller &caller, const QStringList &arguments)
{
    const QString id = QString::number(caller.uid);
    return QStringList{"setpriv", "--reuid", id, "--regid", id, "--clear-groups", "--"} +
           caller.wrapper + QStringList{caller.path} + arguments;
}

void SuiteHost::setStatusToolOutput(const QByteArray &text)
{
    host::writeFile(statusToolText, text);
}

int SuiteHost::statusToolRuns()
{
    return host::readFile(statusToolLog).count('\n');
}
