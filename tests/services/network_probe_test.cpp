// SPDX-License-Identifier: MIT
#include "services/network_probe.h"
#include "services/test_clock.h"
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

#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <utility>

namespace {

using halvex::hasActiveNetworkInterface;
using halvex::probeInternet;
using namespace std::chrono_literals;

void runIp(const QString &command)
{
    const auto result = host::run(QStringList{"ip"} + command.split(' '));
    ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
}

TEST(NetworkInterfaces, AnInterfaceThatIsDownIsNotActive)
{
    EXPECT_FALSE(hasActiveNetworkInterface());
}

TEST(NetworkInterfaces, TheLoopbackInterfaceIsActiveWhenItIsUp)
{
    runIp("link set lo up");
    EXPECT_TRUE(hasActiveNetworkInterface());
    runIp("link set lo down");
    EXPECT_FALSE(hasActiveNetworkInterface());
}

TEST(NetworkInterfaces, AnInterfaceWithoutAHardwareAddressIsNotActive)
{
    // A tunnel that is up and running but has no hardware address.
    ASSERT_EQ(host::run({"sh", "-c", "mkdir -p /dev/net && mknod /dev/net/tun c 10 200"}).exitCode,
              0);
    runIp("tuntap add dev tunnel mode tun");
    const halvex::FileDescriptor tunnel(open("/dev/net/tun", O_RDWR | O_CLOEXEC));
    ASSERT_TRUE(tunnel.isOpen());
    ifreq request{};
    std::strcpy(request.ifr_name, "tunnel");
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    ASSERT_EQ(ioctl(tunnel.get(), TUNSETIFF, &request), 0); // gives the tunnel a carrier
    runIp("link set tunnel up");
    // The kernel reports the carrier a little later.
    ASSERT_TRUE(waitFor([] {
        const auto flags = QNetworkInterface::interfaceFromName("tunnel").flags();
        return flags.testFlag(QNetworkInterface::IsUp) &&
               flags.testFlag(QNetworkInterface::IsRunning);
    }));
    EXPECT_FALSE(hasActiveNetworkInterface());
}

/// Has two interfaces, connected by a virtual cable.
class VirtualCable : public testing::Test
{
protected:
    void SetUp() override { runIp("link add one type veth peer name other"); }
};

TEST_F(VirtualCable, AnInterfaceThatIsUpWithoutACarrierIsNotActive)
{
    runIp("link set one up");
    // The kernel reports the interface as running until it has checked the carrier.
    ASSERT_TRUE(waitFor([] {
        return host::run({"ip", "link", "show", "one"}).output.contains("NO-CARRIER");
    }));
    EXPECT_FALSE(hasActiveNetworkInterface());
}

TEST_F(VirtualCable, ARunningInterfaceIsActiveEvenWithoutAnIpv4Address)
{
    runIp("link set one up");
    runIp("link set other up");
    EXPECT_TRUE(waitFor(hasActiveNetworkInterface)); // once the kernel reports the carrier
}

/// The clock stands still unless a test says otherwise, so that no probe times out because the
/// machine is slow.
class InternetProbe : public testing::Test
{
protected:
    static constexpr auto limit = 2000ms;
    static constexpr auto coarseness = limit / 20; ///< the inaccuracy of Qt's coarse timers

private:
    TestClock clock;
};

TEST_F(InternetProbe, TlsIsSupported)
{
    EXPECT_TRUE(QSslSocket::supportsSsl());
}

TEST_F(InternetProbe, APageFromATrustedSiteIsASuccess)
{
    TlsServer server;
    EXPECT_TRUE(probeInternet());
    EXPECT_EQ(server.requests, 1);
}

TEST_F(InternetProbe, AProbeRequestsTheRootOfTheSite)
{
    EXPECT_STREQ(halvex::probeAddress, "https://www.debian.org/");
    TlsServer server;
    EXPECT_TRUE(probeInternet());
    EXPECT_THAT(server.lastRequest.toStdString(),
                testing::AllOf(testing::StartsWith("GET / HTTP/1.1\r\n"),
                               testing::HasSubstr("\r\nHost: www.debian.org\r\n")));
}

TEST_F(InternetProbe, EachProbeSendsItsOwnRequest)
{
    TlsServer server;
    EXPECT_TRUE(probeInternet());
    EXPECT_TRUE(probeInternet());
    EXPECT_EQ(server.requests, 2);
}

TEST_F(InternetProbe, ARedirectionIsASuccess)
{
    TlsServer server;
    server.answer = [] {
        return QByteArray("HTTP/1.1 301 Moved\r\nLocation: https://nowhere.invalid/\r\n"
                          "Content-Length: 0\r\n\r\n");
    };
    EXPECT_TRUE(probeInternet());
}

TEST_F(InternetProbe, AnErrorPageIsAFailure)
{
    TlsServer server;
    server.answer = [] {
        return QByteArray("HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\n\r\n");
    };
    EXPECT_FALSE(probeInternet());
    EXPECT_EQ(server.requests, 1);
}

TEST_F(InternetProbe, ASiteWithAnUntrustedCertificateGetsNoRequest)
{
    TlsServer server(TlsServer::Authority::Unknown);
    EXPECT_FALSE(probeInternet());
    EXPECT_EQ(server.requests, 0);
}

TEST_F(InternetProbe, AnAnswerJustBeforeTheLimitIsInTime)
{
    TlsServer server;
    server.answer = [] {
        TestClock::advance(limit - coarseness - 1ms);
        return TlsServer::page();
    };
    EXPECT_TRUE(probeInternet());
    EXPECT_EQ(server.requests, 1);
}

TEST_F(InternetProbe, ASiteThatHasNotAnsweredByTheLimitIsAFailure)
{
    TlsServer server;
    server.answer = [] {
        TestClock::advance(limit + coarseness);
        return QByteArray();
    };
    EXPECT_FALSE(probeInternet());
    EXPECT_EQ(server.requests, 1);
}

TEST_F(InternetProbe, ASiteThatRefusesConnectionsIsAFailure)
{
    TlsServer server;
    server.close();
    EXPECT_FALSE(probeInternet());
}

TEST_F(InternetProbe, ANameThatCannotBeResolvedIsAFailure)
{
    EXPECT_FALSE(probeInternet());
}

TEST_F(InternetProbe, OtherEventsAreHandledDuringAProbe)
{
    TlsServer server;
    bool served = false;
    server.callSoon([&] { served = true; });
    EXPECT_TRUE(probeInternet());
    EXPECT_TRUE(served);
}

/// One probe starts while another one waits, so the inner event loop runs inside the outer one.
class NestedProbes : public InternetProbe
{
protected:
    /// Runs both probes. The inner probe starts when the server has the outer probe's request. The
    /// server answers the requests with @p toOuter and @p toInner.
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

TEST_F(NestedProbes, SucceedWhenBothAreAnswered)
{
    run(TlsServer::page(), TlsServer::page());
    EXPECT_TRUE(outer);
    EXPECT_TRUE(inner);
}

TEST_F(NestedProbes, AnAnswerInTimeCountsEvenIfTheInnerProbeEndsAfterTheOuterLimit)
{
    // The test cannot know when the outer probe receives its answer, but slows the clock so that
    // there is enough time.
    TestClock::setPace(TestClock::Pace::Slow);
    run(TlsServer::page(), {});
    EXPECT_TRUE(outer);
    EXPECT_FALSE(inner);
}

TEST_F(NestedProbes, AnAnswerToTheInnerProbeDoesNotCountForTheOuterProbe)
{
    TestClock::setPace(TestClock::Pace::Slow);
    run({}, TlsServer::page());
    EXPECT_FALSE(outer);
    EXPECT_TRUE(inner);
}

TEST_F(NestedProbes, AnAnswerAfterTheOuterLimitIsTooLateEvenIfTheInnerProbeStillWaits)
{
    TlsServer server;
    server.answer = [&] {
        if (server.requests == 1) {
            TestClock::advance(limit / 2);
            server.callSoon([this] { inner = probeInternet(); });
        } else {
            TestClock::advance(limit / 2 + coarseness);
            // The outer probe's timer is due by now, and this timer is due a millisecond later, so
            // the outer probe's timer fires first.
            QTimer::singleShot(1, Qt::PreciseTimer, &server, [&] {
                server.answerFirst(TlsServer::page()); // to the outer probe
                server.answerFirst(TlsServer::page()); // to the inner probe
            });
            TestClock::advance(10ms);
        }
        return QByteArray();
    };
    outer = probeInternet();
    EXPECT_FALSE(outer);
    EXPECT_TRUE(inner);
    EXPECT_EQ(server.requests, 2);
}

} // namespace
