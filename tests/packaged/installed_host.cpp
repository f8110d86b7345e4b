// SPDX-License-Identifier: MIT
#include "packaged/installed_host.h"

#include "support/host_files.h"

#include <QFile>

constexpr const char *unit = "halvex-desktop-daemon.service";

void InstalledHost::SetUp()
{
    SuiteHost::SetUp();
    allowPackagesToStartUnits();
    installPackage();
}

void InstalledHost::allowPackagesToStartUnits()
{
    // By this file, container images forbid packages to start and stop services.
    QFile::remove("/usr/sbin/policy-rc.d");
}

QByteArray InstalledHost::mustRun(const QStringList &command)
{
    const auto result = host::run(command);
    EXPECT_EQ(result.exitCode, 0) << qPrintable(command.join(' ')) << '\n'
                                  << result.errors.constData();
    return result.output;
}

QByteArray InstalledHost::show(const char *property)
{
    return mustRun({"systemctl", "show", "--value", "--property", property, unit}).trimmed();
}

void InstalledHost::addToUnit(const QByteArray &lines)
{
    host::writeFile(QString("/run/systemd/system/%1.d/test.conf").arg(unit), "[Service]\n" + lines);
    mustRun({"systemctl", "daemon-reload"});
}

QString InstalledHost::journal()
{
    mustRun({"journalctl", "--sync"});
    return QString::fromUtf8(mustRun(
        {"journalctl", "--quiet", "--no-pager", "--all", "--output", "cat", "--unit", unit}));
}
