// SPDX-License-Identifier: MIT
//
// The export with the unit's capabilities, while the kernel protects files in shared directories.
#include "packaged/installed_host.h"
#include "support/host_files.h"
#include "support/kernel_protections.h"

#include <QFile>

#include <unistd.h>

namespace {

constexpr const char *exportPath = "/tmp/halvex_alerts.log";

class ProtectedExport : public InstalledHost
{
protected:
    void SetUp() override
    {
        if (qgetenv("CI") != "true") {
            GTEST_SKIP() << "changes settings of the machine's kernel: runs only if CI is true";
        }
        InstalledHost::SetUp();
    }
};

TEST_F(ProtectedExport, AnotherUsersFileIsReused)
{
    host::writeFile("/var/log/halvex/logs/alerts/a.log", "alert\n", 0600);
    const KernelProtections kernel;
    for (const int level : {0, 1, 2}) {
        kernel.set("protected_regular", level);
        QFile::remove(exportPath); // even this test could not write to a protected file
        host::writeFile(exportPath, "a longer text of theirs\n", 0600);
        ASSERT_EQ(chown(exportPath, user::ordinary, user::ordinary), 0);
        EXPECT_EQ(call("generateLogFile", {}, Caller{user::ordinary}), Reply{0}) << level;
        EXPECT_EQ(host::readFile(exportPath), "alert\n") << level;
        EXPECT_EQ(host::ownerAndMode(exportPath), "2002:2002 0666") << level;
    }
}

} // namespace
