// SPDX-License-Identifier: MIT
#include "services/network_probe.h"
#include "support/command.h"
#include "support/host_files.h"
#include "support/tls_server.h"
#include "support/wait_for.h"
#include "util/file_descriptor.h"

#include <QCoreApplication>
#include <QNetworkInterface>
#include <QSslSocket>
#include <QTimer>

#include <gmock/gmock.h>

#include <cstring>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <utility>

namespace {

using halvex::hasActiveNetworkInterface;
using halvex::probeInternet;

void runIp(const QString &command)
{
    const auto result = host::run(QStringList{"ip"} + command.split(' '));
    ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
}

TEST(NetworkInterfaces, EveryInterfaceDownIsNone)
{
    EXPECT_FALSE(hasActiveNetworkInterface());
}

TEST(NetworkInterfaces, TheLoopbackInterfaceCountsLikeAnyOther)
{
    runIp("link set lo up");
    EXPECT_TRUE(hasActiveNetworkInterface());
    runIp("link set lo down");
    EXPECT_FALSE(hasActiveNetworkInterface());
}

TEST(NetworkInterfaces, OneWithoutAHardwareAddressDoesNotCount)
{
    // A tunnel that is up and running, and has none.
    ASSERT_EQ(host::run({"sh", "-c", "mkdir -p /dev/net && mknod /dev/net/tun c 10 200"}).exitCode,
              0);
    runIp("tuntap add dev tunnel mode tun");
    const halvex::FileDescriptor tunnel(open("/dev/net/tun", O_RDWR | O_CLOEXEC));
    ASSERT_TRUE(tunnel.isOpen());
    ifreq request{};
    std::strcpy(request.ifr_name, "tunnel");
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    ASSERT_EQ(ioctl(tunnel.get(), TUNSETIFF, &request), 0); // the carrier
    runIp("link set tunnel up");
    // The kernel tells of a carrier a little later.
    ASSERT_TRUE(waitFor([] {
        const auto flags = QNetworkInterface::interfaceFromName("tunnel").flags();
        return flags.testFlag(QNetworkInterface::IsUp) &&
               flags.testFlag(QNetworkInterface::IsRunning);
    }));
    EXPECT_FALSE(hasActiveNetworkInterface());
}

/// With a virtual cable between two interfaces.
class VirtualCable : public testing::Test
{
protected:
    void SetUp() override { runIp("link add one type veth peer name other"); }
};

TEST_F(VirtualCable, AnInterfaceThatIsUpWithoutACarrierDoesNotCount)
{
    runIp("link set one up");
    EXPECT_FALSE(hasActiveNetworkInterface());
}

TEST_F(VirtualCable, AnInterfaceThatIsUpAndRunsCountsWithoutAnAddress)
{
    runIp("link set one up");
    runIp("link set other up");
    EXPECT_TRUE(waitFor(hasActiveNetworkInterface)); // as soon as the kernel tells of the carrier
}

TEST(InternetProbe, TlsIsThere)
{
    EXPECT_TRUE(QSslSocket::supportsSsl());
}

TEST(InternetProbe, APageFromATrustedSiteIsTheInternet)
{
    TlsServer server;
    EXPECT_TRUE(probeInternet());
    EXPECT_EQ(server.requests, 1);
}

TEST(InternetProbe, ItAsksForTheRootOfTheSite)
{
    EXPECT_STREQ(halvex::probeAddress, "https://www.debian.org/");
    TlsServer server;
    EXPECT_TRUE(probeInternet());
    EXPECT_THAT(server.lastRequest.toStdString(),
                testing::AllOf(testing::StartsWith("GET / HTTP/1.1\r\n"),
                               testing::HasSubstr("\r\nHost: www.debian.org\r\n")));
}

TEST(InternetProbe, EachProbeAsksAnew)
{
    TlsServer server;
    EXPECT_TRUE(probeInternet());
    EXPECT_TRUE(probeInternet());
    EXPECT_EQ(server.requests, 2);
}

TEST(InternetProbe, ARedirectionIsNoError)
{
    TlsServer server;
    server.answer = [] {
        return QByteArray("HTTP/1.1 301 Moved\r\nLocation: https://nowhere.invalid/\r\n"
                          "Content-Length: 0\r\n\r\n");
    };
    EXPECT_TRUE(probeInternet());
}

TEST(InternetProbe, AnErrorPageIsAnError)
{
    TlsServer server;
    server.answer = [] {
        return QByteArray("HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\n\r\n");
    };
    EXPECT_FALSE(probeInternet());
    EXPECT_EQ(server.requests, 1);
}

TEST(InternetProbe, ASiteThatNobodyTrustedVouchesForIsNotAsked)
{
    TlsServer server(TlsServer::Authority::Unknown);
    EXPECT_FALSE(probeInternet());
    EXPECT_EQ(server.requests, 0);
}

TEST(InternetProbe, AnAnswerAfterOneSecondIsInTimeAndOneAfterFourIsNot)
{
    for (const auto &[delay, isInTime] : {std::pair(1000, true), std::pair(4000, false)}) {
        TlsServer server;
        server.answer = [&server, delay = delay] {
            QTimer::singleShot(delay, &server,
                               [&server] { server.answerWaiting(TlsServer::page()); });
            return QByteArray();
        };
        EXPECT_EQ(probeInternet(), isInTime) << delay;
        EXPECT_EQ(server.requests, 1);
    }
}

TEST(InternetProbe, ASiteThatSaysNothingIsTooLate)
{
    TlsServer server;
    server.answer = [] { return QByteArray(); };
    EXPECT_FALSE(probeInternet());
    EXPECT_EQ(server.requests, 1);
}

TEST(InternetProbe, ASiteThatRefusesConnectionsIsAnError)
{
    TlsServer server;
    server.close();
    EXPECT_FALSE(probeInternet());
}

TEST(InternetProbe, ANameThatCannotBeResolvedIsAnError)
{
    EXPECT_FALSE(probeInternet());
}

TEST(InternetProbe, OtherEventsAreServedMeanwhile)
{
    TlsServer server;
    bool served = false;
    server.callSoon([&] { served = true; });
    EXPECT_TRUE(probeInternet());
    EXPECT_TRUE(served);
}

/// One probe is started while another waits, so its event loop runs inside the other's.
class NestedProbes : public testing::Test
{
protected:
    /// Runs both; the inner one starts when the outer one's request is there, and the server
    /// answers the two requests with @p toOuter and @p toInner.
    void run(const QByteArray &toOuter, const QByteArray &toInner)
    {
        TlsServer server;
        server.answer = [&] {
            if (server.requests > 1) {
                return toInner;
            }
            server.callSoon([this] { inner = probeInternet(); });
            return toOuter;
        };
        outer = probeInternet();
        EXPECT_EQ(server.requests, 2);
    }

    bool outer = false;
    bool inner = false;
};

TEST_F(NestedProbes, BothSucceed)
{
    run(TlsServer::page(), TlsServer::page());
    EXPECT_TRUE(outer);
    EXPECT_TRUE(inner);
}

TEST_F(NestedProbes, AnAnswerInTimeStandsThoughTheInnerProbeOutlastsTheOutersLimit)
{
    run(TlsServer::page(), {});
    EXPECT_TRUE(outer);
    EXPECT_FALSE(inner);
}

TEST_F(NestedProbes, TheInnersAnswerIsNotTheOuters)
{
    run({}, TlsServer::page());
    EXPECT_FALSE(outer);
    EXPECT_TRUE(inner);
}

TEST_F(NestedProbes, AnAnswerAfterTheOutersLimitIsTooLateForItThoughTheInnerStillWaits)
{
    TlsServer server;
    server.answer = [&] {
        if (server.requests == 1) {
            QTimer::singleShot(1700, &server, [this] { inner = probeInternet(); });
            for (const int delay : {2400, 2600}) { // to the outer one, then to the inner one
                QTimer::singleShot(delay, &server, [&] { server.answerFirst(TlsServer::page()); });
            }
        }
        return QByteArray();
    };
    outer = probeInternet();
    EXPECT_FALSE(outer);
    EXPECT_TRUE(inner);
    EXPECT_EQ(server.requests, 2);
}

} // namespace
