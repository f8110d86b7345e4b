// SPDX-License-Identifier: MIT
#include "security/caller_privilege.h"
#include "support/host_files.h"

#include <QFile>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

using halvex::isAdminUid;
using halvex::isWheelMember;
using halvex::isWheelMemberByUid;

class CallerPrivilege : public testing::Test
{
protected:
    void SetUp() override
    {
        host::writeFile("/etc/passwd", "root:x:0:0::/root:/bin/sh\n"
                                       "anna:x:2001:2001::/:/bin/sh\n"
                                       "otto:x:2002:2002::/:/bin/sh\n"
                                       "pia:x:2003:2000::/:/bin/sh\n");
        host::writeFile("/etc/group", "root:x:0:\nwheel:x:2000:root,annabel,anna\n");
        setStatusTool("echo three admin: off");
    }

    static void setStatusTool(const QByteArray &body)
    {
        host::writeScript("/usr/sbin/getstatus", body + "\n");
    }

    /// The text that @p operation prints to standard output.
    template <typename Operation>
    static std::string printedBy(Operation operation)
    {
        testing::internal::CaptureStdout();
        operation();
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(CallerPrivilege, WithoutABusNobodyIsPrivileged)
{
    halvex::PrivilegeBasis basis;
    EXPECT_FALSE(halvex::isPrivilegedCaller(nullptr, ":1.1", basis));
}

TEST_F(CallerPrivilege, RootIsAnAdministratorWithoutAnyLookup)
{
    ASSERT_TRUE(QFile::remove("/etc/passwd"));
    ASSERT_TRUE(QFile::remove("/etc/group"));
    EXPECT_EQ(printedBy([] { EXPECT_TRUE(isAdminUid(0)); }), "");
}

TEST_F(CallerPrivilege, AMemberOfWheelIsAnAdministratorAndIsPrinted)
{
    EXPECT_EQ(printedBy([] { EXPECT_TRUE(isAdminUid(2001)); }), "anna is sudo group\n");
}

TEST_F(CallerPrivilege, AnOrdinaryUserIsNoAdministrator)
{
    EXPECT_EQ(printedBy([] { EXPECT_FALSE(isAdminUid(2002)); }), "");
}

TEST_F(CallerPrivilege, AWheelMemberByPrimaryGroupOnlyIsNoAdministrator)
{
    EXPECT_EQ(printedBy([] { EXPECT_FALSE(isAdminUid(2003)); }), "");
}

TEST_F(CallerPrivilege, NamesOfMembersAreComparedAsAWhole)
{
    EXPECT_EQ(isWheelMember("ann"), 0);
    EXPECT_EQ(isWheelMember("annab"), 0);
    EXPECT_EQ(isWheelMember("Anna"), 0);
    EXPECT_EQ(isWheelMember(""), 0);
    EXPECT_EQ(printedBy([] { EXPECT_EQ(isWheelMember("annabel"), 1); }), "annabel is sudo group\n");
}

TEST_F(CallerPrivilege, AnEmptyGroupHasNoMembers)
{
    host::writeFile("/etc/group", "wheel:x:2000:\n");
    EXPECT_EQ(isWheelMember("anna"), 0);
}

TEST_F(CallerPrivilege, WithoutAnAccountAMessageIsPrintedAndTheUserIsNoAdministrator)
{
    const std::string printed = printedBy([] {
        EXPECT_EQ(isWheelMemberByUid(2999), -1);
        EXPECT_FALSE(isAdminUid(2999));
    });
    EXPECT_EQ(printed, "Failed to get passwd struct for 2999: Success\n"
                       "Failed to get passwd struct for 2999: Success\n");
}

TEST_F(CallerPrivilege, WithoutTheGroupWheelAMessageIsPrintedAndTheUserIsNoAdministrator)
{
    host::writeFile("/etc/group", "root:x:0:\n");
    const std::string printed = printedBy([] {
        EXPECT_EQ(isWheelMember("anna"), -1);
        EXPECT_FALSE(isAdminUid(2001));
    });
    EXPECT_EQ(printed, "Failed to get group for wheel: Success\n"
                       "Failed to get group for wheel: Success\n");
}

TEST_F(CallerPrivilege, TheStatusToolIsAskedAgainForEachCheck)
{
    EXPECT_FALSE(halvex::isThreeAdminMode());
    setStatusTool("echo Kernel : ok; echo 'THREE ADMIN : ON'");
    EXPECT_TRUE(halvex::isThreeAdminMode());
    setStatusTool("exit 1");
    EXPECT_FALSE(halvex::isThreeAdminMode());
    ASSERT_TRUE(QFile::remove("/usr/sbin/getstatus"));
    EXPECT_FALSE(halvex::isThreeAdminMode());
}

TEST_F(CallerPrivilege, ADaemonThatRootRunsIsAnAdministratorWhetherTheRolesAreSeparatedOrNot)
{
    EXPECT_FALSE(halvex::selfIsAdmin);
    halvex::checkSelfPrivilege();
    EXPECT_TRUE(halvex::selfIsAdmin);

    halvex::selfIsAdmin = false;
    setStatusTool("echo three admin: on");
    halvex::checkSelfPrivilege();
    EXPECT_TRUE(halvex::selfIsAdmin);
}

TEST_F(CallerPrivilege, WithSeparatedRolesADaemonThatRootDoesNotRunIsNoAdministrator)
{
    setStatusTool("echo three admin: on");
    for (const uid_t uid : {2001U, 600U}) {
        ASSERT_EQ(setresuid(uid, uid, 0), 0);
        halvex::checkSelfPrivilege();
        ASSERT_EQ(setresuid(0, 0, 0), 0);
        EXPECT_FALSE(halvex::selfIsAdmin) << uid;
    }
}

TEST_F(CallerPrivilege, TheDaemonsOwnPrivilegeIsNeverReset)
{
    halvex::selfIsAdmin = true;
    ASSERT_EQ(setresuid(2002, 2002, 0), 0);
    halvex::checkSelfPrivilege();
    EXPECT_TRUE(halvex::selfIsAdmin);

    halvex::selfIsAdmin = false;
    halvex::checkSelfPrivilege();
    EXPECT_FALSE(halvex::selfIsAdmin) << "an ordinary user is no administrator";
    ASSERT_EQ(setresuid(0, 0, 0), 0);
}

} // namespace
