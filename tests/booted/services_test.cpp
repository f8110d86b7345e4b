// SPDX-License-Identifier: MIT
//
// What the real systemctl answers about real units, and what it does to them.
#include "services/service_control.h"
#include "services/service_status.h"
#include "support/command.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/stand_in.h"
#include "support/wait_for.h"

#include <QFile>

#include <gmock/gmock.h>

namespace {

using halvex::getServiceStatus;
using halvex::HasStatus;
using halvex::IsActive;
using halvex::IsEnabled;
using halvex::restartService;

constexpr const char *daemonUnit = "[Service]\n"
                                   "ExecStart=/bin/sleep infinity\n"
                                   "[Install]\n"
                                   "WantedBy=multi-user.target\n";

const QString wantsLink = "/etc/systemd/system/multi-user.target.wants/halvex-ebpf.service";

/// A host with a unit of each kind.
class RealUnits : public testing::Test
{
protected:
    void SetUp() override
    {
        writeUnit("halvex-ebpf", daemonUnit);
        writeUnit("halvex-logscan", daemonUnit);
        writeUnit("halvex-research", "[Service]\nType=oneshot\nExecStart=/bin/false\n"
                                     "[Install]\nWantedBy=multi-user.target\n");
        writeUnit("halvex-rootcheck", "[Service]\nExecStart=/bin/sleep infinity\n");
        systemctl({"mask", "halvex-intervention"});
        systemctl({"daemon-reload"});
    }

    static void writeUnit(const QString &name, const QByteArray &text)
    {
        host::writeFile("/etc/systemd/system/" + name + ".service", text);
    }

    static void systemctl(const QStringList &arguments)
    {
        const auto result = host::run(QStringList{"systemctl"} + arguments);
        ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
    }

    /// The value that systemd reports of the unit's @p property.
    static QByteArray show(const QString &unit, const QString &property)
    {
        return host::run({"systemctl", "show", "--value", "--property", property, unit})
            .output.trimmed();
    }

    static int setServiceStatus(const QString &names, unsigned status, unsigned type)
    {
        return halvex::setServiceStatus(names, status, type, "/etc/engine.yaml");
    }

    MessageLog log;
};

TEST_F(RealUnits, AStoppedUnitHasAStatusAndIsNeitherActiveNorEnabled)
{
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsActive), 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsEnabled), 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", HasStatus), 1);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(RealUnits, AUnitIsStartedAndStopped)
{
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 0), 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsActive), 1);
    EXPECT_EQ(getServiceStatus("halvex-ebpf.service", IsActive), 1);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsEnabled), 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", HasStatus), 1);

    EXPECT_EQ(setServiceStatus("halvex-ebpf", 0, 0), 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsActive), 0);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(RealUnits, AUnitIsEnabledAndDisabled)
{
    EXPECT_EQ(setServiceStatus("halvex-ebpf", 1, 1), 0);
    EXPECT_TRUE(QFile::exists(wantsLink));
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsEnabled), 1);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsActive), 0);

    EXPECT_EQ(setServiceStatus("halvex-ebpf", 0, 1), 0);
    EXPECT_FALSE(QFile::exists(wantsLink));
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsEnabled), 0);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(RealUnits, AUnitThatIsEnabledAtRunTimeOnlyDoesNotCountAsEnabled)
{
    systemctl({"enable", "--runtime", "halvex-ebpf"});
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsEnabled), 0);
}

TEST_F(RealUnits, SeveralUnitsAreChangedTogether)
{
    EXPECT_EQ(setServiceStatus("halvex-ebpf halvex-logscan", 1, 0), 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsActive), 1);
    EXPECT_EQ(getServiceStatus("halvex-logscan", IsActive), 1);
}

TEST_F(RealUnits, TwoBlanksInARowAreAFailure)
{
    EXPECT_EQ(setServiceStatus("halvex-ebpf  halvex-logscan", 1, 0), -1);
}

TEST_F(RealUnits, ARestartReplacesTheProcess)
{
    ASSERT_EQ(setServiceStatus("halvex-ebpf", 1, 0), 0);
    const QByteArray before = show("halvex-ebpf", "MainPID");
    EXPECT_EQ(restartService("halvex-ebpf"), 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsActive), 1);
    EXPECT_NE(show("halvex-ebpf", "MainPID"), before);
}

TEST_F(RealUnits, ARestartStartsAStoppedUnit)
{
    EXPECT_EQ(restartService("halvex-ebpf"), 0);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsActive), 1);
}

TEST_F(RealUnits, ARestartOfTwoUnitsFailsAndTouchesNeither)
{
    EXPECT_EQ(restartService("halvex-ebpf halvex-logscan"), -1);
    EXPECT_EQ(getServiceStatus("halvex-ebpf", IsActive), 0);
    EXPECT_EQ(getServiceStatus("halvex-logscan", IsActive), 0);
}

TEST_F(RealUnits, ARestartOfTheEngineRestartsTheUnitWithTheEnginesName)
{
    EXPECT_EQ(restartService("halvex.net.ai"), -1);
    writeUnit("halvex.net.ai", daemonUnit);
    systemctl({"daemon-reload"});
    EXPECT_EQ(restartService("halvex.net.ai"), 0);
    EXPECT_EQ(show("halvex.net.ai.service", "ActiveState"), "active");
}

TEST_F(RealUnits, AUnitThatFailsIsNotActiveAndHasAStatus)
{
    EXPECT_EQ(setServiceStatus("halvex-research", 1, 0), -1);
    EXPECT_EQ(show("halvex-research", "ActiveState"), "failed");
    EXPECT_EQ(getServiceStatus("halvex-research", IsActive), 0);
    EXPECT_EQ(getServiceStatus("halvex-research", IsEnabled), 0);
    EXPECT_EQ(getServiceStatus("halvex-research", HasStatus), 1);
    EXPECT_EQ(restartService("halvex-research"), -1);
    EXPECT_EQ(setServiceStatus("halvex-research", 1, 1), 0);
    EXPECT_EQ(getServiceStatus("halvex-research", IsEnabled), 1);
    EXPECT_EQ(getServiceStatus("halvex-research", IsActive), 0);
}

TEST_F(RealUnits, AUnitThatIsStillStartingIsNotActive)
{
    writeUnit("norva-ai-net-detect", "[Service]\nType=oneshot\nExecStart=/bin/sleep infinity\n");
    systemctl({"daemon-reload"});
    systemctl({"start", "--no-block", "norva-ai-net-detect"});
    ASSERT_TRUE(waitFor([] { return show("norva-ai-net-detect", "ActiveState") == "activating"; }));
    EXPECT_EQ(getServiceStatus("norva-ai-net-detect", IsActive), 0);
    EXPECT_EQ(getServiceStatus("norva-ai-net-detect", HasStatus), 1);
}

TEST_F(RealUnits, AStaticUnitRunsButIsNeverEnabled)
{
    EXPECT_EQ(setServiceStatus("halvex-rootcheck", 1, 0), 0);
    EXPECT_EQ(getServiceStatus("halvex-rootcheck", IsActive), 1);
    EXPECT_EQ(getServiceStatus("halvex-rootcheck", IsEnabled), 0);
    EXPECT_EQ(getServiceStatus("halvex-rootcheck", HasStatus), 1);
    EXPECT_EQ(setServiceStatus("halvex-rootcheck", 1, 1), 0)
        << "the change fails, although systemctl only prints a hint and exits with 0";
    EXPECT_EQ(getServiceStatus("halvex-rootcheck", IsEnabled), 0);
}

TEST_F(RealUnits, AMaskedUnitHasAStatusAndCannotBeChanged)
{
    EXPECT_EQ(getServiceStatus("halvex-intervention", IsActive), 0);
    EXPECT_EQ(getServiceStatus("halvex-intervention", IsEnabled), 0);
    EXPECT_EQ(getServiceStatus("halvex-intervention", HasStatus), 1);
    EXPECT_EQ(setServiceStatus("halvex-intervention", 1, 0), -1);
    EXPECT_EQ(setServiceStatus("halvex-intervention", 1, 1), -1);
    EXPECT_EQ(restartService("halvex-intervention"), -1);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(RealUnits, AnUnknownUnitHasNoStatusAndCannotBeChanged)
{
    for (const char *name :
         {"no-such-unit", "norva-ai-dga-detect", "", "halvex-ebpf halvex-logscan"}) {
        EXPECT_EQ(getServiceStatus(name, IsActive), 0) << name;
        EXPECT_EQ(getServiceStatus(name, IsEnabled), 0) << name;
    }
    EXPECT_EQ(getServiceStatus("no-such-unit", HasStatus), 2);
    EXPECT_EQ(getServiceStatus("norva-ai-dga-detect", HasStatus), 2);
    EXPECT_EQ(setServiceStatus("norva-ai-dga-detect", 1, 0), -1);
    EXPECT_EQ(setServiceStatus("norva-ai-dga-detect", 1, 1), -1);
    EXPECT_EQ(restartService("norva-ai-dga-detect"), -1);
    EXPECT_EQ(log.messages(), QStringList());
}

TEST_F(RealUnits, AnyUnitCanBeQueriedButAUnitOutsideTheSuiteCannotBeChanged)
{
    EXPECT_EQ(getServiceStatus("dbus", IsActive), 1);
    EXPECT_EQ(getServiceStatus("sysinit.target", HasStatus), 1);
    EXPECT_EQ(setServiceStatus("dbus", 0, 0), -1);
    EXPECT_EQ(getServiceStatus("dbus", IsActive), 1);
}

TEST_F(RealUnits, AUnitWhoseNameBeginsWithAHyphenHasAStatusLikeAnyOther)
{
    for (const char *name : {"-.mount", "-.slice"}) {
        EXPECT_EQ(getServiceStatus(name, IsActive), 1) << name;
        EXPECT_EQ(getServiceStatus(name, IsEnabled), 0) << name;
        EXPECT_EQ(getServiceStatus(name, HasStatus), 1) << name;
    }
}

TEST_F(RealUnits, ANameThatLooksLikeAnOptionIsNotTakenAsAnOption)
{
    host::writeStandIn("/usr/bin/ssh", "exit 255\n");
    for (const halvex::ServiceQuery question : {IsActive, IsEnabled, HasStatus}) {
        for (const char *text : {"--host=root@evil.example", "-Hevil.example", "--image=/dev/vda",
                                 "--root=/srv", "--help", "--version", "--state=active", "-a"}) {
            EXPECT_EQ(getServiceStatus(text, question), question == HasStatus ? 2 : 0)
                << question << ' ' << text;
        }
    }
    EXPECT_EQ(host::standInCalls(), QStringList());

    // Without the daemon's precautions, systemctl runs ssh, for which the stand-in is called.
    static_cast<void>(host::run({"systemctl", "status", "--host=root@evil.example"}));
    EXPECT_EQ(host::standInCalls().size(), 1);
}

} // namespace
