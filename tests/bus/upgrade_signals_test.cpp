// SPDX-License-Identifier: MIT
//
// From which senders the daemon relays signals, and what front ends receive.
#include "bus/upgrade_host.h"
#include "support/host_files.h"
#include "support/wait_for.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr const char *upgradeName = "com.norva.systemupgrade";
constexpr const char *upgradePath = "/com/norva/systemupgrade";
constexpr const char *upgradeInterface = "com.norva.systemupgrade.interface";
constexpr const char *progressMember = "InstalldebStatusChanged";
constexpr const char *finishedMember = "UpdateInstallFinished";

/// A signal as a front end received it: its name, and its values as JSON.
struct SeenSignal
{
    QString name;
    QJsonArray values;
};

bool operator==(const SeenSignal &left, const SeenSignal &right)
{
    return left.name == right.name && left.values == right.values;
}

void PrintTo(const SeenSignal &seen, std::ostream *stream)
{
    *stream << qPrintable(seen.name) << QJsonDocument(seen.values).toJson().constData();
}

SeenSignal seenProgress(int percent)
{
    return {"installProgress", {percent, "installing", "halvex-net-ai"}};
}

const SeenSignal seenSuccess{"installFinished",
                             {0, QJsonArray{"halvex-net-ai"}, "Unknown error", ""}};

const QVariantList successValues{true, QStringList{"halvex-net-ai"}, "", ""};

QVariantList progressValues(int percent)
{
    return {percent, "installing", "halvex-net-ai"};
}

/// A separate connection to the system bus. It may own the upgrade service's name.
class Speaker
{
public:
    explicit Speaker(const QString &connectionName)
        : name(connectionName),
          bus(QDBusConnection::connectToBus(QDBusConnection::SystemBus, connectionName))
    {}
    ~Speaker() { QDBusConnection::disconnectFromBus(name); }
    Speaker(const Speaker &) = delete;
    Speaker &operator=(const Speaker &) = delete;

    void takeName() { ASSERT_TRUE(bus.registerService(upgradeName)); }
    void giveNameUp() { ASSERT_TRUE(bus.unregisterService(upgradeName)); }

    /// Sends @p message with @p values, and returns when the bus has passed it on.
    void send(QDBusMessage message, const QVariantList &values)
    {
        message.setArguments(values);
        ASSERT_TRUE(bus.send(message));
        ASSERT_TRUE(bus.interface()->isServiceRegistered(upgradeName).isValid());
    }

    /// Broadcasts a signal to all listeners.
    void broadcast(const char *member, const QVariantList &values)
    {
        send(QDBusMessage::createSignal(upgradePath, upgradeInterface, member), values);
    }

    /// Sends a signal to the daemon alone. The bus delivers it even without a match rule.
    void sendToDaemon(const char *member, const QVariantList &values)
    {
        send(QDBusMessage::createTargetedSignal("com.norva.halvex.desktop", upgradePath,
                                                upgradeInterface, member),
             values);
    }

    /// Sends both signals in both ways.
    void sayEverything()
    {
        broadcast(progressMember, progressValues(-1));
        broadcast(finishedMember, successValues);
        sendToDaemon(progressMember, progressValues(-2));
        sendToDaemon(finishedMember, successValues);
    }

private:
    QString name;
    QDBusConnection bus;
};

class InstallationSignals : public UpgradeHost
{
protected:
    /// Starts a front end that shows the next @p count signals, and waits until it listens.
    static void listen(QProcess &listener, int count, unsigned uid = user::ordinary)
    {
        const QStringList command =
            frontEndCommand(Caller{uid}, {"--json", "--listen", QString::number(count)});
        listener.start(command.first(), command.mid(1));
        ASSERT_TRUE(listener.waitForReadyRead(patienceMs));
        ASSERT_TRUE(listener.readLine().contains("listening"));
    }

    /// Waits until @p listener has received its number of signals, and returns them.
    static QList<SeenSignal> signalsSeenBy(QProcess &listener)
    {
        EXPECT_TRUE(listener.waitForFinished(patienceMs));
        QList<SeenSignal> seen;
        for (const QByteArray &line : listener.readAllStandardOutput().split('\n')) {
            if (!line.isEmpty()) {
                const QJsonObject object = QJsonDocument::fromJson(line).object();
                seen << SeenSignal{object["member"].toString(), object["values"].toArray()};
            }
        }
        return seen;
    }
};

TEST_F(InstallationSignals, ProgressReachesEveryListenerUnchangedAndInOrder)
{
    startUpgradeService();
    startDaemon();
    QProcess first;
    QProcess second;
    listen(first, 3);
    listen(second, 3, user::root);
    order("emitProgress", {0, "downloading", "halvex-net-ai 1.0 – 12 MB"});
    order("emitProgress", {-1, "", ""});
    order("emitProgress", {100, "done", "\n"});
    const auto expected =
        ElementsAre(SeenSignal{"installProgress", {0, "downloading", "halvex-net-ai 1.0 – 12 MB"}},
                    SeenSignal{"installProgress", {-1, "", ""}},
                    SeenSignal{"installProgress", {100, "done", "\n"}});
    EXPECT_THAT(signalsSeenBy(first), expected);
    EXPECT_THAT(signalsSeenBy(second), expected);
    EXPECT_EQ(messagesOfTheCall(), QStringList());
}

TEST_F(InstallationSignals, AFailedInstallationIsReportedWithADescription)
{
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 2);
    const QStringList packages{"halvex-net-ai", "halvex.net.ai"};
    order("emitFinished", {false, packages, "#0204", "no space left on /"});
    order("emitFinished", {false, QStringList{}, "#7777", ""});
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(SeenSignal{"installFinished",
                                       {1, QJsonArray{"halvex-net-ai", "halvex.net.ai"},
                                        "Insufficient disk space", "no space left on /"}},
                            SeenSignal{"installFinished", {1, QJsonArray{}, "Unknown error", ""}}));
}

TEST_F(InstallationSignals, ASuccessfulInstallationHasTheResultZeroAndItsCodeIsDescribedToo)
{
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 2);
    order("emitFinished", {true, QStringList{"halvex-net-ai"}, "", "fine"});
    order("emitFinished", {true, QStringList{"halvex-net-ai"}, "#0219", ""});
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(SeenSignal{"installFinished",
                                       {0, QJsonArray{"halvex-net-ai"}, "Unknown error", "fine"}},
                            SeenSignal{"installFinished",
                                       {0, QJsonArray{"halvex-net-ai"},
                                        "Dependencies are not satisfied", ""}}));
}

TEST_F(InstallationSignals, SignalsOfAServiceThatStartsLaterAreRelayed)
{
    startDaemon();
    QProcess listener;
    listen(listener, 2);
    startUpgradeService();
    replyWith({5, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{5}));
    order("emitProgress", progressValues(50));
    order("emitFinished", successValues);
    EXPECT_THAT(signalsSeenBy(listener), ElementsAre(seenProgress(50), seenSuccess));
}

TEST_F(InstallationSignals, SignalsOfARestartedServiceAreRelayedOnce)
{
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 5);
    for (int percent = 0; percent < 4; ++percent) {
        order("emitProgress", progressValues(percent));
        stopUpgradeService();
        startUpgradeService();
    }
    order("emitFinished", successValues);
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(seenProgress(0), seenProgress(1), seenProgress(2), seenProgress(3),
                            seenSuccess));
}

TEST_F(InstallationSignals, SignalsOfANewOwnerOfTheNameAreRelayed)
{
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 1);
    replyWith({0, ""});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{0}));
    stopUpgradeService();
    Speaker other("other");
    other.takeName();
    other.broadcast(finishedMember, successValues);
    EXPECT_THAT(signalsSeenBy(listener), ElementsAre(seenSuccess));
}

TEST_F(InstallationSignals, SignalsDuringTheCallAreRelayedInOrderAfterTheCall)
{
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 101);
    replyWith({0, ""});
    order("emitBeforeAnswering", {100});
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{0}));
    QList<SeenSignal> expected;
    for (int percent = 0; percent < 100; ++percent) {
        expected << seenProgress(percent);
    }
    EXPECT_THAT(signalsSeenBy(listener), ElementsAreArray(expected << seenSuccess));
}

TEST_F(InstallationSignals, ASignalOfTheServiceToTheDaemonAloneIsRelayedOnce)
{
    startDaemon();
    QProcess listener;
    listen(listener, 3);
    Speaker service("service");
    service.takeName();
    service.sendToDaemon(progressMember, progressValues(1));
    service.sendToDaemon(finishedMember, successValues);
    service.broadcast(progressMember, progressValues(2));
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(seenProgress(1), seenSuccess, seenProgress(2)));
}

TEST_F(InstallationSignals, SignalsOfAStrangerAreNotRelayedWhileTheServiceRuns)
{
    startUpgradeService();
    startDaemon();
    QProcess listener;
    listen(listener, 1);
    Speaker stranger("stranger");
    stranger.sayEverything();
    order("emitProgress", progressValues(2));
    EXPECT_THAT(signalsSeenBy(listener), ElementsAre(seenProgress(2)));
}

TEST_F(InstallationSignals, SignalsOfAStrangerAreNotRelayedWhileTheNameHasNoOwner)
{
    startDaemon();
    QProcess listener;
    listen(listener, 2);
    Speaker stranger("stranger");
    stranger.sayEverything();
    startUpgradeService();
    order("emitProgress", progressValues(1));
    stopUpgradeService();
    stranger.sayEverything();
    startUpgradeService();
    order("emitProgress", progressValues(2));
    EXPECT_THAT(signalsSeenBy(listener), ElementsAre(seenProgress(1), seenProgress(2)));
}

TEST_F(InstallationSignals, OnlySignalsOfTheCurrentOwnerAreRelayed)
{
    startDaemon();
    QProcess listener;
    listen(listener, 3);
    Speaker first("first");
    Speaker second("second");
    first.takeName();
    first.broadcast(progressMember, progressValues(1));
    second.sayEverything();
    first.giveNameUp();
    first.sayEverything();
    second.takeName();
    second.broadcast(progressMember, progressValues(2));
    first.sayEverything();
    second.giveNameUp();
    second.sayEverything();
    first.takeName();
    first.broadcast(progressMember, progressValues(3));
    EXPECT_THAT(signalsSeenBy(listener),
                ElementsAre(seenProgress(1), seenProgress(2), seenProgress(3)));
}

TEST_F(InstallationSignals, OnlyTheTwoSignalsOfTheServiceAreRelayed)
{
    startDaemon();
    QProcess listener;
    listen(listener, 1);
    Speaker service("service");
    service.takeName();
    const auto signal = QDBusMessage::createSignal;
    service.send(signal("/com/norva", upgradeInterface, progressMember), progressValues(1));
    service.send(signal("/", upgradeInterface, finishedMember), successValues);
    service.send(signal(upgradePath, "com.norva.systemupgrade", progressMember), progressValues(2));
    service.send(signal(upgradePath, "com.norva.other", finishedMember), successValues);
    service.broadcast("installdebStatusChanged", progressValues(3));
    service.broadcast("handleInstallProgress", progressValues(4));
    service.broadcast(progressMember, {});
    service.broadcast(progressMember, {5, "installing"});
    service.broadcast(progressMember, {6, "installing", "halvex-net-ai", "more"});
    service.broadcast(progressMember, {7U, "installing", "halvex-net-ai"});
    service.broadcast(progressMember, {"8", "installing", "halvex-net-ai"});
    service.broadcast(finishedMember, {1, QStringList{"halvex-net-ai"}, "", ""});
    service.broadcast(finishedMember, {true, "halvex-net-ai", "", ""});
    service.broadcast(finishedMember, {true, QStringList{"halvex-net-ai"}, ""});
    service.broadcast(finishedMember, {true, QStringList{"halvex-net-ai"}, "", "", 0});
    service.broadcast(progressMember, progressValues(9));
    EXPECT_THAT(signalsSeenBy(listener), ElementsAre(seenProgress(9)));
    EXPECT_EQ(messagesOfTheCall(), QStringList());
}

TEST_F(InstallationSignals, OnAServerEditionNoSignalIsRelayed)
{
    host::writeFile("/etc/os-release", "PRETTY_NAME=\"Norva Server\"\n");
    startDaemon();
    QProcess listener;
    listen(listener, 1);
    Speaker service("service");
    service.takeName();
    service.sayEverything();
    // The daemon serves this call after the signals. If the daemon had received the signals, it
    // would have relayed them before this call.
    EXPECT_EQ(call("installPackages", {"halvex-net-ai"}), (Reply{-1}));
    EXPECT_EQ(messagesOfTheCall(), QStringList{"no found SystemUpdateInterface"});
    stopDaemon();
    host::writeFile("/etc/os-release", "PRETTY_NAME=\"Norva Desktop\"\n");
    startDaemon();
    service.broadcast(progressMember, progressValues(60));
    EXPECT_THAT(signalsSeenBy(listener), ElementsAre(seenProgress(60)));
}

} // namespace
