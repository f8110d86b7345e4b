// SPDX-License-Identifier: MIT
//
// Messages that fill the queues of the daemon's connections at the bus. The bus then drops its own
// answers to the gate. The bus policy denies some of these messages, but it is overridden here, so
// that the daemon itself must withstand them.
#include "attacks/attacked_host.h"
#include "support/host_files.h"
#include "support/process_resources.h"
#include "support/settings_paths.h"

namespace {

using settings::notifyPath;
constexpr int connections = 6;
const QByteArray notifySettings = "<ossec_config><alerts><notify/></alerts></ossec_config>\n";

/// Where the messages go; "PID" stands for the daemon's process id.
struct Flood
{
    const char *name;
    QStringList options;
};

void PrintTo(const Flood &flood, std::ostream *stream)
{
    *stream << flood.name;
}

class FloodedGate : public AttackedHost, public testing::WithParamInterface<Flood>
{
protected:
    void SetUp() override
    {
        AttackedHost::SetUp();
        host::writeFile(notifyPath, notifySettings);
        overridePolicy();
    }

    /// Makes a stranger send large messages through six connections. Returns when each has sent
    /// some, and the daemon has received one.
    QProcess &startFlood(int seconds)
    {
        const int before = peakMemory();
        QStringList options = GetParam().options;
        options.replaceInStrings("PID", QString::number(daemon.processId()));
        QProcess &flood = attackers.start(QStringList{"flood", "--large", "1", "--connections",
                                                      QString::number(connections), "--seconds",
                                                      QString::number(seconds)} +
                                              options,
                                          user::ordinary);
        for (int i = 0; i < connections; ++i) {
            EXPECT_EQ(linesUntil(flood, "round", patienceMs), QStringList());
        }
        EXPECT_TRUE(waitFor([this, before] { return peakMemory() > before + messageKib; }))
            << "the flood does not reach the daemon";
        return flood;
    }

    [[nodiscard]] int peakMemory() const { return memoryOf(daemon.processId(), "VmHWM"); }

    QProcess &startCaller(const QStringList &way, int calls)
    {
        return attackers.startAsFrontEnd(
            QStringList{"stuck-process"} + way +
                QStringList{"--", QString::number(calls), "setNotifyConfig", "1", "2", "3"},
            user::ordinary);
    }

    static void expectOnlyRefusals(const QStringList &answers)
    {
        for (const QString &answer : answers) {
            EXPECT_TRUE(answer == "status -999" || answer.startsWith("error "))
                << qPrintable(answer);
        }
        EXPECT_EQ(host::readFile(notifyPath), notifySettings);
    }

    static constexpr int messageKib = 32000; // rounded down
    static constexpr int longerThanATest = 3600;
    static constexpr int answerMs = 15000;
    /// If the gate does not answer within answerMs, the flood goes on for this time, 40 s in total.
    /// A gate that waits 25 s for each answer then loses the answers to its first and second
    /// question, but gets the third, which it asks after 50 s.
    static constexpr int secondQuestionMs = 25000;
};

TEST_P(FloodedGate, RefusesAnOrdinaryUserWhoIsUnreadableUntilTheFloodBegins)
{
    QProcess &file = attackers.startHangingFile(user::ordinary);
    QProcess &caller = startCaller({"memory-lock", Attackers::hangingFile()}, 1);
    ASSERT_EQ(linesUntil(caller, "calling", patienceMs), QStringList());
    QProcess &flood = startFlood(longerThanATest);
    file.kill(); // From here on the caller can be read.
    QStringList answers = linesUntil(caller, "done", answerMs);
    if (answers.contains("no done")) {
        ADD_FAILURE() << "the gate does not give up a question within seconds";
        flood.waitForFinished(secondQuestionMs);
        flood.kill();
        answers = linesUntil(caller, "done", patienceMs);
    }
    EXPECT_EQ(answers.size(), 1) << qPrintable(answers.join(" "));
    expectOnlyRefusals(answers);
}

TEST_P(FloodedGate, RefusesAnOrdinaryUserAtEveryMoment)
{
    QProcess &flood = startFlood(10);
    QProcess &caller = startCaller({"waiting"}, 200);
    flood.waitForFinished(patienceMs);
    QStringList answers = linesUntil(caller, "done", patienceMs);
    ASSERT_EQ(answers.takeFirst(), "calling");
    EXPECT_EQ(answers.size(), 200);
    expectOnlyRefusals(answers);
    EXPECT_TRUE(isServedWithin(10000));
}

const Flood floods[] = {
    {"OfAPathThatDoesNotExist", {"--path", "/no/such/path"}},
    {"OfAMethod", {"--member", "setNotifyConfig", "1", "2"}},
    {"OfSignalsToItsConnections", {"--signal", "--pid", "PID"}},
};

INSTANTIATE_TEST_SUITE_P(, FloodedGate, testing::ValuesIn(floods),
                         [](const auto &flood) { return flood.param.name; });

} // namespace
