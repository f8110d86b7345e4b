// SPDX-License-Identifier: MIT
//
// Calls of a front end on a booted host, over the host's own bus, to real units of systemd.
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/stand_in.h"

namespace {

class FrontEndOnABootedHost : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        host::writeFile("/etc/systemd/system/halvex-ebpf.service", "[Service]\n"
                                                                   "ExecStart=/bin/sleep infinity\n"
                                                                   "[Install]\n"
                                                                   "WantedBy=multi-user.target\n");
        ASSERT_EQ(host::run({"systemctl", "daemon-reload"}).exitCode, 0);
        startDaemon();
    }

    Reply ask(const QString &name, int type)
    {
        return call("getServiceStatus", {name, QString::number(type)}, Caller{user::ordinary});
    }

    Reply set(int status, int type)
    {
        return call("setServiceStatus",
                    {"halvex-ebpf", QString::number(status), QString::number(type)},
                    Caller{user::wheelMember});
    }
};

TEST_F(FrontEndOnABootedHost, AnAdministratorStartsAndStopsAServiceAndEverybodySeesIt)
{
    EXPECT_EQ(ask("halvex-ebpf", 0), Reply{0});
    EXPECT_EQ(set(1, 0), Reply{0});
    EXPECT_EQ(ask("halvex-ebpf", 0), Reply{1});
    EXPECT_EQ(call("restartService", {"halvex-ebpf"}, Caller{user::wheelMember}), Reply{0});
    EXPECT_EQ(ask("halvex-ebpf", 0), Reply{1});
    EXPECT_EQ(set(0, 0), Reply{0});
    EXPECT_EQ(ask("halvex-ebpf", 0), Reply{0});
}

TEST_F(FrontEndOnABootedHost, AnAdministratorEnablesAndDisablesAServiceAndEverybodySeesIt)
{
    EXPECT_EQ(ask("halvex-ebpf", 1), Reply{0});
    EXPECT_EQ(set(1, 1), Reply{0});
    EXPECT_EQ(ask("halvex-ebpf", 1), Reply{1});
    EXPECT_EQ(set(0, 1), Reply{0});
    EXPECT_EQ(ask("halvex-ebpf", 1), Reply{0});
}

TEST_F(FrontEndOnABootedHost, AnOrdinaryUserCannotStartAService)
{
    EXPECT_EQ(call("setServiceStatus", {"halvex-ebpf", "1", "0"}, Caller{user::ordinary}),
              Reply{-999});
    EXPECT_EQ(ask("halvex-ebpf", 0), Reply{0});
}

TEST_F(FrontEndOnABootedHost, AnOrdinaryUserCannotMakeRootRunSsh)
{
    host::writeStandIn("/usr/bin/ssh", "exit 255\n");
    for (int type = 0; type <= 2; ++type) {
        EXPECT_EQ(ask("--host=root@evil.example", type), Reply{type == 2 ? 2 : 0});
    }
    EXPECT_EQ(host::standInCalls(), QStringList());
}

TEST_F(FrontEndOnABootedHost, TheRootMountIsFoundByItsName)
{
    EXPECT_EQ(ask("-.mount", 0), Reply{1});
    EXPECT_EQ(ask("-.mount", 2), Reply{1});
}

TEST_F(FrontEndOnABootedHost, AnUnknownServiceHasNoStatus)
{
    EXPECT_EQ(ask("no-such-unit", 0), Reply{0});
    EXPECT_EQ(ask("no-such-unit", 1), Reply{0});
    EXPECT_EQ(ask("no-such-unit", 2), Reply{2});
}

} // namespace
