// SPDX-License-Identifier: MIT
//
// Messages to a daemon that does not run. The bus starts the daemon for each message that the
// policy allows, signals included. The daemon owns none of its names yet, so only the policy's
// rules about the name of the service apply.
#include "attacks/attackers.h"
#include "packaged/installed_host.h"

namespace {

class StoppedDaemon : public InstalledHost
{
protected:
    void TearDown() override { attackers.endAll(); }

    void expectDenied(const QStringList &options, unsigned uid)
    {
        EXPECT_EQ(attackers.run(QStringList{"flood", "--answers"} + options, uid),
                  QStringList{"error org.freedesktop.DBus.Error.AccessDenied"})
            << qPrintable(options.join(' '));
        EXPECT_EQ(show("ActiveState"), "inactive") << qPrintable(options.join(' '));
    }

    Attackers attackers;
};

TEST_F(StoppedDaemon, IsNotStartedByASignalOfAUser)
{
    expectDenied({"--signal", "--member", "other"}, user::ordinary);
    // The policy allows calls of the following members, but not signals with their names.
    for (const MethodCall &each : allMethodCalls()) {
        expectDenied({"--signal", "--member", each.name}, user::ordinary);
    }
    for (const char *path :
         {"/", "/com", "/com/norva", "/com/norva/halvex", "/com/norva/halvex/desktop"}) {
        expectDenied({"--signal", "--path", path, "--interface",
                      "org.freedesktop.DBus.Introspectable", "--member", "Introspect"},
                     user::ordinary);
    }
    expectDenied({"--signal", "--interface", "org.freedesktop.DBus.Peer", "--member", "Ping"},
                 user::ordinary);
}

TEST_F(StoppedDaemon, IsNotStartedByDescriptors)
{
    for (const char *count : {"1", "16"}) {
        const QStringList descriptors{"--descriptors", "/dev/null", count};
        for (const unsigned uid : {user::ordinary, user::root}) {
            expectDenied(descriptors, uid);
            expectDenied(descriptors + QStringList{"--signal"}, uid);
        }
    }
}

} // namespace
