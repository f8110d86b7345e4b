// SPDX-License-Identifier: MIT
#include "services/service_control.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/stand_in.h"

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>

#include <gmock/gmock.h>

#include <climits>

namespace {

using halvex::restartService;

int setServiceStatus(const QString &names, unsigned status, unsigned type)
{
    return halvex::setServiceStatus(names, status, type, "/etc/engine.yaml");
}

class ServiceControl : public testing::Test
{
protected:
    void SetUp() override
    {
        // Fails for an empty name, as the real systemctl does.
        host::writeStandIn("/usr/bin/systemctl", "for name; do [ -n \"$name\" ] || exit 1; done\n");
        host::writeStandIn("/usr/bin/pellmar");
    }

    /// Expects that @p messages are the two warnings about a refused name: the first begins with
    /// @p first (the allowed names may follow, in any order), and the second is @p second.
    static void expectNameWarnings(const QStringList &messages, const QString &first,
                                   const QString &second)
    {
        ASSERT_EQ(messages.size(), 2);
        EXPECT_TRUE(messages[0].startsWith("warning: " + first)) << qPrintable(messages[0]);
        EXPECT_EQ(messages[1], "warning: " + second);
    }

    MessageLog log;
};

TEST_F(ServiceControl, StatusAndTypeChooseTheVerb)
{
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 0), 0);
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 0, 0), 0);
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 1), 0);
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 0, 1), 0);
    EXPECT_EQ(
        host::standInCalls(),
        (QStringList{"systemctl <start> <halvex-ebpf>", "systemctl <stop> <halvex-ebpf>",
                     "systemctl <enable> <halvex-ebpf>", "systemctl <disable> <halvex-ebpf>"}));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceControl, SeveralNamesAreSeveralArguments)
{
    EXPECT_EQ(setServiceStatus("halvex-ebpf halvex-logscan", 0, 1), 0);
    EXPECT_EQ(host::standInCalls(),
              QStringList{"systemctl <disable> <halvex-ebpf> <halvex-logscan>"});
}

TEST_F(ServiceControl, ExtraBlanksReachSystemctlAsEmptyNamesAndFail)
{
    EXPECT_EQ(setServiceStatus("halvex-ebpf  halvex-logscan", 1, 0), -1);
    EXPECT_EQ(setServiceStatus(" halvex-ebpf ", 1, 0), -1);
    EXPECT_EQ(host::standInCalls(),
              (QStringList{"systemctl <start> <halvex-ebpf> <> <halvex-logscan>",
                           "systemctl <start> <> <halvex-ebpf> <>"}));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceControl, OtherWhiteSpaceAroundANameReachesSystemctl)
{
    EXPECT_EQ(setServiceStatus("halvex-ebpf\t", 1, 0), 0);
    EXPECT_EQ(host::standInCalls(), QStringList{"systemctl <start> <halvex-ebpf\t>"});
}

TEST_F(ServiceControl, ARefusedNameLeavesTwoWarningsAndRunsNothing)
{
    EXPECT_EQ(setServiceStatus("halvex-ebpf sshd", 1, 0), -1);
    expectNameWarnings(log.messages(), "Invalid service(s) found: (\"sshd\")  - allowed services",
                       "Invalid service name: \"halvex-ebpf sshd\"");
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(ServiceControl, AnEmptyOrBlankNameIsRefused)
{
    EXPECT_EQ(setServiceStatus("", 1, 0), -1);
    EXPECT_EQ(setServiceStatus("  ", 1, 0), -1);
    EXPECT_EQ(
        log.messages(),
        (QStringList{"warning: Empty service name", "warning: Invalid service name: \"\"",
                     "warning: Empty service name", "warning: Invalid service name: \"  \""}));
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(ServiceControl, NameStatusAndTypeAreCheckedInThisOrder)
{
    EXPECT_EQ(setServiceStatus("", 2, 2), -1);
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 2, 2), -1);
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 2), -1);
    EXPECT_EQ(log.messages(),
              (QStringList{"warning: Empty service name", "warning: Invalid service name: \"\"",
                           "warning: Invalid status value.", "warning: Invalid type value."}));
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(ServiceControl, StatusAndTypeAreCheckedForTheEngineToo)
{
    EXPECT_EQ(setServiceStatus("halvex.net.ai", 2, 0), -1);
    EXPECT_EQ(setServiceStatus("halvex.net.ai", UINT_MAX, 0), -1);
    EXPECT_EQ(setServiceStatus("halvex.net.ai", 0, 2), -1);
    EXPECT_EQ(setServiceStatus("halvex.net.ai", 0, UINT_MAX), -1);
    EXPECT_EQ(log.messages(),
              (QStringList{"warning: Invalid status value.", "warning: Invalid status value.",
                           "warning: Invalid type value.", "warning: Invalid type value."}));
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(ServiceControl, TheEngineIsSwitchedThroughItsPackageToolForBothTypes)
{
    EXPECT_EQ(setServiceStatus("halvex.net.ai", 0, 0), 0);
    EXPECT_EQ(setServiceStatus("halvex.net.ai", 0, 1), 0);
    EXPECT_EQ(setServiceStatus("halvex.net.ai", 1, 1), -2) << "although no interface is up";
    EXPECT_EQ(host::standInCalls(),
              (QStringList{"pellmar <kill> <halvex.net.ai>", "pellmar <kill> <halvex.net.ai>"}));
}

TEST_F(ServiceControl, TheEngineTogetherWithOtherTextIsTreatedAsAUnit)
{
    EXPECT_EQ(setServiceStatus("halvex.net.ai halvex-ebpf", 1, 0), 0);
    EXPECT_EQ(setServiceStatus("halvex-ebpf halvex.net.ai", 0, 1), 0);
    EXPECT_EQ(setServiceStatus("halvex.net.ai ", 0, 0), -1);
    EXPECT_EQ(setServiceStatus("halvex.net.ai\n", 0, 0), 0);
    // The line feed in the last name splits the line of that call.
    EXPECT_EQ(host::standInCalls(),
              (QStringList{"systemctl <start> <halvex.net.ai> <halvex-ebpf>",
                           "systemctl <disable> <halvex-ebpf> <halvex.net.ai>",
                           "systemctl <stop> <halvex.net.ai> <>", "systemctl <stop> <halvex.net.ai",
                           ">"}));
}

TEST_F(ServiceControl, ASystemctlThatFailsIsAFailure)
{
    host::writeStandIn("/usr/bin/systemctl", "exit 5\n");
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 0), -1);
    EXPECT_EQ(restartService("halvex-ebpf"), -1);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceControl, ASystemctlThatIsKilledIsAFailure)
{
    host::writeStandIn("/usr/bin/systemctl", "kill -9 $$\n");
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 0), -1);
    EXPECT_EQ(restartService("halvex-ebpf"), -1);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceControl, AMissingSystemctlIsAFailure)
{
    ASSERT_TRUE(QFile::remove("/usr/bin/systemctl"));
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 0), -1);
    EXPECT_EQ(restartService("halvex-ebpf"), -1);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceControl, ASystemctlElsewhereInThePathIsNotRun)
{
    host::writeStandIn("/srv/systemctl");
    qputenv("PATH", "/srv:/usr/bin");
    ASSERT_TRUE(QFile::remove("/usr/bin/systemctl"));
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 0), -1);
    EXPECT_EQ(restartService("halvex-ebpf"), -1);
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(ServiceControl, LongOutputOfSystemctlIsIgnored)
{
    host::writeStandIn("/usr/bin/systemctl", "echo failed; head -c 300000 /dev/zero\n"
                                             "head -c 300000 /dev/zero >&2\n");
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 0), 0);
    EXPECT_EQ(restartService("halvex-ebpf"), 0);
}

TEST_F(ServiceControl, SystemctlGetsTheDaemonsOwnEnvironmentAndDirectory)
{
    for (const char *name : {"IFS", "CDPATH", "ENV", "BASH_ENV", "LD_LIBRARY_PATH"}) {
        qputenv(name, "/kept");
    }
    ASSERT_TRUE(QDir::setCurrent("/usr/lib"));
    host::writeStandIn("/usr/bin/systemctl",
                       "/usr/bin/tr '\\0' '\\n' </proc/$$/environ >>/run/env\n"
                       "/usr/bin/readlink /proc/$$/cwd >>/run/cwd\n");
    const QStringList environment = QProcessEnvironment::systemEnvironment().toStringList();
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 0), 0);
    EXPECT_EQ(restartService("halvex-ebpf"), 0);
    EXPECT_THAT(QString::fromUtf8(host::readFile("/run/env")).split('\n', Qt::SkipEmptyParts),
                testing::UnorderedElementsAreArray(environment + environment));
    EXPECT_EQ(host::readFile("/run/cwd"), "/usr/lib\n/usr/lib\n");
}

TEST_F(ServiceControl, RestartPassesTheWholeTextAsOneName)
{
    EXPECT_EQ(restartService("halvex-ebpf"), 0);
    EXPECT_EQ(restartService("halvex-ebpf  halvex-logscan"), 0);
    EXPECT_EQ(host::standInCalls(),
              (QStringList{"systemctl <restart> <halvex-ebpf>",
                           "systemctl <restart> <halvex-ebpf  halvex-logscan>"}));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceControl, RestartTreatsTheEngineAsAUnit)
{
    EXPECT_EQ(restartService("halvex.net.ai"), 0);
    EXPECT_EQ(restartService("halvex.net.ai "), 0);
    EXPECT_EQ(host::standInCalls(), (QStringList{"systemctl <restart> <halvex.net.ai>",
                                                 "systemctl <restart> <halvex.net.ai >"}));
}

TEST_F(ServiceControl, RestartRefusesInvalidAndEmptyNames)
{
    EXPECT_EQ(restartService("--host=evil"), -1);
    expectNameWarnings(log.messages(), "Invalid service(s) found: (\"--host=evil\")  - allowed",
                       "Invalid service name: \"--host=evil\"");
    const MessageLog second;
    EXPECT_EQ(restartService(""), -1);
    EXPECT_EQ(second.messages(),
              (QStringList{"warning: Empty service name", "warning: Invalid service name: \"\""}));
    EXPECT_EQ(host::standInCalls(), QStringList());
}

} // namespace
