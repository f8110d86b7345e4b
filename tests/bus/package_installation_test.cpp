// SPDX-License-Identifier: MIT
//
// Tests the daemon's calls of the upgrade service. The tests of its signals are in
// upgrade_signals_test.cpp.
#include "bus/upgrade_host.h"
#include "packages/upgrade_service.h"
#include "support/host_files.h"
#include "support/message_log.h"

#include <QDBusVariant>

namespace {

class PackageInstallation : public UpgradeHost
{
};

TEST_F(PackageInstallation, ThePackagesAreSentToTheServiceAndItsFirstValueIsReturned)
{
    startUpgradeService();
    startDaemon();
    replyWith({7, "accepted"});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai", "norva.ai.dga.detect"}), (Reply{7}));
    EXPECT_EQ(order("lastRequest").toStringList(),
              (QStringList{"halvex-net-ai", "norva.ai.dga.detect"}));
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"receive message (QVariant(int, 7), QVariant(QString, \"accepted\"))"});
    EXPECT_EQ(systemLog.takeLines(), QStringList());
}

TEST_F(PackageInstallation, AMemberOfWheelMayInstall)
{
    startUpgradeService();
    startDaemon();
    replyWith({0, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}, Caller{user::wheelMember}), (Reply{0}));
    EXPECT_EQ(order("requests").toInt(), 1);
}

TEST_F(PackageInstallation, NamesArePassedOnExactlyAsReceived)
{
    startUpgradeService();
    startDaemon();
    replyWith({0, ""});
    EXPECT_EQ(call("installPackages", {" halvex.net.ai ", "halvex-net-ai", "halvex-net-ai"}),
              (Reply{0}));
    EXPECT_EQ(order("lastRequest").toStringList(),
              (QStringList{" halvex.net.ai ", "halvex-net-ai", "halvex-net-ai"}));
}

TEST_F(PackageInstallation, AReplyOfMoreThanTwoValuesIsAccepted)
{
    startUpgradeService();
    startDaemon();
    replyWith({-42, true, "x"});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-42}));
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"receive message (QVariant(int, -42), QVariant(bool, true), "
                          "QVariant(QString, \"x\"))"});
}

TEST_F(PackageInstallation, AFirstValueThatIsNotANumberIsReturnedAsZero)
{
    startUpgradeService();
    startDaemon();
    replyWith({"accepted", 7});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{0}));
    replyWith({QStringList{"3"}, 7});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{0}));
    EXPECT_EQ(messagesOfTheCall(),
              (QStringList{"receive message (QVariant(QString, \"accepted\"), QVariant(int, 7))",
                           "receive message (QVariant(QStringList, (\"3\")), QVariant(int, 7))"}));
}

TEST_F(PackageInstallation, AFirstValueThatIsANumberAsTextIsReturned)
{
    startUpgradeService();
    startDaemon();
    replyWith({"12", ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{12}));
}

TEST_F(PackageInstallation, AFirstValueOfAnotherTypeIsConverted)
{
    startUpgradeService();
    startDaemon();
    replyWith({true, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{1}));
    replyWith({qlonglong{-9}, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-9}));
    replyWith({4.6, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{5}));
    replyWith({QVariant::fromValue(QDBusVariant(3)), ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{0}));
    EXPECT_EQ(messagesOfTheCall().size(), 4);
}

TEST_F(PackageInstallation, AReplyOfASingleValueIsUnusable)
{
    startUpgradeService();
    startDaemon();
    replyWith({7});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-2}));
    EXPECT_EQ(messagesOfTheCall(), QStringList{"no receive reply message"});
    EXPECT_EQ(order("requests").toInt(), 1);
}

TEST_F(PackageInstallation, AnEmptyReplyIsUnusable)
{
    startUpgradeService();
    startDaemon();
    replyWith({});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-2}));
    EXPECT_EQ(messagesOfTheCall(), QStringList{"no receive reply message"});
}

TEST_F(PackageInstallation, AnErrorIsAFailureAndItsTextIsLogged)
{
    startUpgradeService();
    startDaemon();
    order("replyWithError",
          {"com.norva.systemupgrade.Error.Busy", "another installation is under way"});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"Error occurred: \"another installation is under way\""});
}

TEST_F(PackageInstallation, AServiceThatLeavesDuringTheCallIsAFailure)
{
    startUpgradeService();
    startDaemon();
    order("leaveWhenCalled");
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"Error occurred: \"Message recipient disconnected from message bus "
                          "without replying\""});
    // The daemon keeps working, and finds the new service instance.
    stopUpgradeService();
    startUpgradeService();
    replyWith({3, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{3}));
}

TEST_F(PackageInstallation, AServiceThatIsNotRunningIsAFailure)
{
    startDaemon();
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(),
              QStringList{"Error occurred: \"The name com.norva.systemupgrade was not provided by "
                          "any .service files\""});
}

TEST_F(PackageInstallation, WithoutTheServiceTheDaemonStartsWithoutAMessage)
{
    startDaemon();
    EXPECT_EQ(host::readFile("/run/daemon.err"), "dbus service start \n\n");
}

TEST_F(PackageInstallation, AMethodDeclaredWithoutReplyIsNotWaitedFor)
{
    startUpgradeService({"--never-replies"});
    startDaemon();
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-3}));
    EXPECT_EQ(messagesOfTheCall(), QStringList());
}

TEST_F(PackageInstallation, AnEmptyListNeverReachesTheService)
{
    startUpgradeService();
    startDaemon();
    EXPECT_EQ(call("installPackages"), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(),
              (QStringList{"No packages to install", "Invalid package list: ()"}));
    EXPECT_EQ(order("requests").toInt(), 0);
}

TEST_F(PackageInstallation, AListWithAnUnknownPackageNeverReachesTheService)
{
    startUpgradeService();
    startDaemon();
    EXPECT_EQ(call("installPackages", {"halvex-net-ai", " bash"}), (Reply{-1}));
    const QStringList messages = messagesOfTheCall();
    ASSERT_EQ(messages.size(), 2);
    EXPECT_TRUE(messages[0].startsWith("Installation rejected: invalid package(s) found: "
                                       "(\" bash\") . Allowed packages are: (\""))
        << qPrintable(messages[0]);
    EXPECT_EQ(messages[1], "Invalid package list: (\"halvex-net-ai\", \" bash\")");
    EXPECT_EQ(order("requests").toInt(), 0);
}

TEST_F(PackageInstallation, ARefusedCallerNeverReachesTheService)
{
    startUpgradeService();
    startDaemon();
    replyWith({0, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}, Caller{user::ordinary}), (Reply{-999}));
    EXPECT_EQ(systemLog.takeLines(),
              QStringList{"<14>halvex-desktop-daemon: The caller has no permission"});
    EXPECT_EQ(order("requests").toInt(), 0);
}

TEST_F(PackageInstallation, AServerEditionHasNoUpgradeService)
{
    host::writeFile("/etc/os-release", "PRETTY_NAME=\"Norva Server\"\n");
    startUpgradeService();
    startDaemon();
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(), QStringList{"no found SystemUpdateInterface"});
    EXPECT_EQ(order("requests").toInt(), 0);
}

/// Tests the proxy alone, in the test's own process, with a short time-out.
class UpgradeServiceProxy : public UpgradeHost
{
protected:
    void SetUp() override
    {
        UpgradeHost::SetUp();
        daemonMayEnd = true;
    }
};

TEST_F(UpgradeServiceProxy, TheTimeOutIsTheDefaultOfTheBus)
{
    startUpgradeService();
    const auto proxy = halvex::connectUpgradeService(nullptr, nullptr, nullptr);
    ASSERT_NE(proxy, nullptr);
    EXPECT_EQ(proxy->timeout(), -1);
    EXPECT_EQ(proxy->parent(), nullptr);
}

TEST_F(UpgradeServiceProxy, NoReplyWithinTheTimeOutIsAFailure)
{
    startUpgradeService();
    const auto proxy = halvex::connectUpgradeService(nullptr, nullptr, nullptr);
    ASSERT_NE(proxy, nullptr);
    proxy->setTimeout(300);
    const MessageLog log;
    EXPECT_EQ(halvex::installPackages(proxy.get(), {"halvex-net-ai"}), -1);
    EXPECT_EQ(log.messages(),
              QStringList{"debug: Error occurred: \"Did not receive a reply. Possible causes "
                          "include: the remote application did not send a reply, the message bus "
                          "security policy blocked the reply, the reply timeout expired, or the "
                          "network connection was broken.\""});
    EXPECT_EQ(order("requests").toInt(), 1);
}

TEST_F(UpgradeServiceProxy, WithoutABusThereIsNoProxy)
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/no-such-bus");
    const MessageLog log;
    const auto proxy = halvex::connectUpgradeService(nullptr, nullptr, nullptr);
    EXPECT_EQ(proxy, nullptr);
    EXPECT_EQ(halvex::installPackages(proxy.get(), {"halvex-net-ai"}), -1);
    EXPECT_EQ(log.messages(), QStringList{"debug: no found SystemUpdateInterface"});
}

TEST_F(UpgradeServiceProxy, AnInvalidListIsRefusedWithAWarningBeforeTheProxyIsChecked)
{
    const MessageLog log;
    EXPECT_EQ(halvex::installPackages(nullptr, {"bash"}), -1);
    ASSERT_EQ(log.messages().size(), 2);
    EXPECT_TRUE(log.messages()[0].startsWith("warning: Installation rejected: "));
    EXPECT_EQ(log.messages()[1], "warning: Invalid package list: (\"bash\")");
    EXPECT_EQ(halvex::installPackages(nullptr, {"halvex-net-ai"}), -1);
    EXPECT_EQ(log.messages().last(), "debug: no found SystemUpdateInterface");
}

} // namespace
