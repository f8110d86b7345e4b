// SPDX-License-Identifier: MIT
#include "services/service_status.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/stand_in.h"

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>

#include <gmock/gmock.h>

#include <climits>

namespace {

using halvex::getServiceStatus;

class ServiceStatus : public testing::Test
{
protected:
    /// Makes systemctl print @p output and exit with @p exitCode.
    static void systemctlPrints(const QByteArray &output, int exitCode = 0)
    {
        host::writeFile("/run/systemctl.output", output);
        host::writeStandIn("/usr/bin/systemctl",
                           "cat /run/systemctl.output; exit " + QByteArray::number(exitCode));
    }

    MessageLog log;
};

TEST_F(ServiceStatus, EachTypeRunsItsOwnQuery)
{
    systemctlPrints("active\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 1);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 1), 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 2), 1);
    EXPECT_EQ(host::standInCalls(), (QStringList{"systemctl <is-active> <halvex-ebpf>",
                                                 "systemctl <is-enabled> <halvex-ebpf>",
                                                 "systemctl <status> <halvex-ebpf>"}));
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceStatus, OnlyTheWholeLineActiveIsActive)
{
    for (const char *line : {"inactive", "activating", "failed", "unknown", "Active", "active ",
                             " active", "active (running)", "enabled", ""}) {
        systemctlPrints(QByteArray(line) + '\n');
        EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 0) << line;
    }
}

TEST_F(ServiceStatus, OnlyTheWholeLineEnabledIsEnabled)
{
    systemctlPrints("enabled\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 1), 1);
    for (const char *line : {"static", "enabled-runtime", "disabled", "masked", "linked", "alias",
                             "indirect", "Enabled", "enabled ", "active", ""}) {
        systemctlPrints(QByteArray(line) + '\n');
        EXPECT_EQ(getServiceStatus("halvex-ebpf", 1), 0) << line;
    }
}

TEST_F(ServiceStatus, AnyNonEmptyFirstLineIsAStatus)
{
    systemctlPrints("x");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 2), 1);
    systemctlPrints(" \n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 2), 1);
}

TEST_F(ServiceStatus, AnEmptyFirstLineIsNoStatus)
{
    systemctlPrints("");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 2), 2);
    systemctlPrints("\nsecond line\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 2), 2);
}

TEST_F(ServiceStatus, OnlyTheFirstLineCounts)
{
    systemctlPrints("active\ninactive\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 1);
    systemctlPrints("inactive\nactive\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 0);
}

TEST_F(ServiceStatus, MissingLineFeedsAndCarriageReturnsAreIgnored)
{
    systemctlPrints("active");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 1);
    systemctlPrints("active\r\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 1);
    systemctlPrints("act\rive\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 1)
        << "a carriage return inside the word is not ignored";
}

TEST_F(ServiceStatus, TheErrorOutputOfSystemctlIsIgnored)
{
    host::writeStandIn("/usr/bin/systemctl", "echo active >&2\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 2), 2);
}

TEST_F(ServiceStatus, TheExitStatusIsIgnored)
{
    systemctlPrints("active\n", 3);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 1);
    systemctlPrints("inactive\n", 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 0);
    systemctlPrints("* halvex-ebpf.service\n", 4);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 2), 1);
}

TEST_F(ServiceStatus, TheOutputOfAKilledSystemctlIsUsed)
{
    host::writeStandIn("/usr/bin/systemctl", "echo active; kill -9 $$\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 1);
}

TEST_F(ServiceStatus, LongOutputIsReadCompletely)
{
    host::writeStandIn("/usr/bin/systemctl",
                       "head -c 1000000 /dev/zero | tr '\\0' x; head -c 200000 /dev/zero >&2\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 2), 1);
}

TEST_F(ServiceStatus, AnotherTypeIsInvalidAndRunsNothing)
{
    systemctlPrints("active\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 3), -1);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", UINT_MAX), -1);
    EXPECT_EQ(getServiceStatus("halvex.net.ai ", 7), -1) << "the trailing blank is ignored";
    EXPECT_EQ(log.messages(),
              (QStringList{"warning: Invalid type value.", "warning: Invalid type value.",
                           "warning: Invalid type value."}));
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(ServiceStatus, AnyNameIsPassedUncheckedAsOneArgument)
{
    systemctlPrints("active\n");
    const QStringList names{"sshd",
                            "halvex-ebpf halvex-logscan",
                            "",
                            " ",
                            "a;b|c&d $(x) `y` '\"*",
                            "größe.service",
                            "halvex.net.ai ",
                            "HALVEX.NET.AI"};
    QStringList expected;
    for (const QString &name : names) {
        EXPECT_EQ(getServiceStatus(name, 0), 1);
        expected << "systemctl <is-active> <" + name + ">";
    }
    EXPECT_EQ(host::standInCalls(), expected);
}

TEST_F(ServiceStatus, ANameThatLooksLikeAnOptionIsPassedAsAName)
{
    systemctlPrints("active\n");
    EXPECT_EQ(getServiceStatus("--host=evil", 0), 1);
    EXPECT_EQ(getServiceStatus("-.mount", 1), 0);
    EXPECT_EQ(getServiceStatus("-", 2), 1);
    EXPECT_EQ(host::standInCalls(), (QStringList{"systemctl <is-active> <--> <--host=evil>",
                                                 "systemctl <is-enabled> <--> <-.mount>",
                                                 "systemctl <status> <--> <->"}));
}

TEST_F(ServiceStatus, SystemctlGetsTheDaemonsOwnEnvironmentAndDirectory)
{
    for (const char *name : {"IFS", "CDPATH", "ENV", "BASH_ENV", "LD_LIBRARY_PATH"}) {
        qputenv(name, "/kept");
    }
    ASSERT_TRUE(QDir::setCurrent("/usr/lib"));
    host::writeStandIn("/usr/bin/systemctl", "/usr/bin/tr '\\0' '\\n' </proc/$$/environ >/run/env\n"
                                             "/usr/bin/readlink /proc/$$/cwd >/run/cwd\n");
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), 0);
    EXPECT_THAT(QString::fromUtf8(host::readFile("/run/env")).split('\n', Qt::SkipEmptyParts),
                testing::UnorderedElementsAreArray(
                    QProcessEnvironment::systemEnvironment().toStringList()));
    EXPECT_EQ(host::readFile("/run/cwd"), "/usr/lib\n");
}

TEST_F(ServiceStatus, WithoutSystemctlAQueryFails)
{
    ASSERT_TRUE(QFile::remove("/usr/bin/systemctl"));
    for (unsigned type = 0; type <= 2; ++type) {
        EXPECT_EQ(getServiceStatus("halvex-ebpf", type), -1);
    }
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(ServiceStatus, ASystemctlElsewhereInThePathIsNotRun)
{
    host::writeStandIn("/srv/systemctl", "echo active\n");
    qputenv("PATH", "/srv:/usr/bin");
    ASSERT_TRUE(QFile::remove("/usr/bin/systemctl"));
    EXPECT_EQ(getServiceStatus("halvex-ebpf", 0), -1);
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(ServiceStatus, TheEngineIsQueriedThroughItsPackageToolForAnyType)
{
    systemctlPrints("active\n");
    host::writeStandIn("/usr/bin/pellmar", "echo halvex.net.ai\n");
    host::writeStandIn("/usr/bin/ps", "echo /opt/apps/halvex.net.ai/files/bin/halvex_inference\n");
    for (const unsigned type : {0U, 1U, 2U, 7U, UINT_MAX}) {
        EXPECT_EQ(getServiceStatus("halvex.net.ai", type), 1) << type;
    }
    EXPECT_EQ(host::standInCalls().mid(0, 2), (QStringList{"pellmar <list>", "ps <-aux>"}));
    EXPECT_EQ(host::standInCalls().size(), 10);
    EXPECT_EQ(log.messages(), QStringList());
}

} // namespace
