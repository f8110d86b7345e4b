// SPDX-License-Identifier: MIT
//
// Messages that fill the queues of the daemon's connections at the bus. The bus drops its own
// answers to a connection whose queue is full.
#include "attacks/attacked_host.h"
#include "support/host_files.h"
#include "support/process_resources.h"
#include "support/settings_paths.h"

#include <QDir>
#include <QFile>

#include <csignal>
#include <sys/types.h>

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

class FloodedDaemon : public AttackedHost
{
protected:
    void SetUp() override
    {
        AttackedHost::SetUp();
        host::writeFile(notifyPath, notifySettings);
    }

    /// Makes a stranger send large messages through six connections, until the flood is killed.
    /// Returns when each has sent some.
    QProcess &startFlood(QStringList options)
    {
        options.replaceInStrings("PID", QString::number(daemon.processId()));
        QProcess &flood = attackers.start(QStringList{"flood", "--large", "1", "--connections",
                                                      QString::number(connections), "--seconds",
                                                      QString::number(longerThanATest)} +
                                              options,
                                          user::ordinary);
        for (int i = 0; i < connections; ++i) {
            EXPECT_EQ(linesUntil(flood, "round", patienceMs), QStringList());
        }
        return flood;
    }

    /// Expects that the daemon receives a message of the flood. Its peak memory was @p before KiB.
    void expectFloodArrives(int before) const
    {
        EXPECT_TRUE(waitFor([this, before] { return peakMemory() > before + messageKib; }))
            << "the flood does not reach the daemon";
    }

    [[nodiscard]] int peakMemory() const { return memoryOf(daemon.processId(), "VmHWM"); }

    /// Starts a caller of the user @p uid that cannot be read, and stops the daemon while the gate
    /// reads it. If the gate gives up reading before, tries it with another caller.
    QProcess &stopDaemonDuringReading(unsigned uid)
    {
        constexpr int attempts = 10;
        const auto daemonId = static_cast<pid_t>(daemon.processId());
        for (int i = 1;; ++i) {
            QProcess &caller = startCaller({"memory-lock", Attackers::hangingFile()}, 1, uid);
            EXPECT_EQ(linesUntil(caller, "calling", patienceMs), QStringList());
            EXPECT_TRUE(waitFor([i] {
                return stateOf("halvex-gate") == 'D' || countOfMessages("file.read failed") == i;
            }));
            kill(daemonId, SIGSTOP);
            EXPECT_TRUE(waitFor([] { return stateOf("halvex-desktop-") == 'T'; }));
            if (stateOf("halvex-gate") == 'D' || i == attempts) {
                return caller;
            }
            kill(daemonId, SIGCONT);
            EXPECT_EQ(linesUntil(caller, "done", patienceMs).size(), 1);
        }
    }

    /// The state, as in /proc/PID/stat, of the process of this host with the name @p name; 0 if
    /// there is none. The gate reads callers in the process halvex-gate: its state is 'D' while it
    /// waits for a lock of the caller, and 'S' after it has sent its result.
    static char stateOf(const QByteArray &name)
    {
        for (const QString &entry : QDir("/proc").entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            QFile file("/proc/" + entry + "/stat"); // missing if the process has exited
            const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
            const QByteArray nameInStat = " (" + name + ") ";
            if (text.contains(nameInStat)) {
                return text[text.indexOf(nameInStat) + nameInStat.size()];
            }
        }
        return 0;
    }

    /// How often the text @p message is in the daemon's messages.
    static int countOfMessages(const char *message)
    {
        return host::readFile("/run/daemon.err").count(message);
    }

    QProcess &startCaller(const QStringList &way, int calls, unsigned uid)
    {
        return attackers.startAsFrontEnd(
            QStringList{"stuck-process"} + way +
                QStringList{"--", QString::number(calls), "setNotifyConfig", "1", "2", "3"},
            uid);
    }

    /// Makes a caller of the user @p uid call while a flood of messages with @p options begins.
    /// When it begins, the gate has only the answer to its question about the process id. It asks
    /// the other questions during the flood.
    ///
    /// @return the answer
    QStringList callDuringFlood(const QStringList &options, unsigned uid)
    {
        QProcess &file = attackers.startHangingFile(uid);
        QProcess &caller = stopDaemonDuringReading(uid);
        EXPECT_EQ(stateOf("halvex-gate"), 'D')
            << "the gate has given up each caller before the flood";
        const int before = peakMemory();
        QProcess &flood = startFlood(options);
        file.kill(); // From here on the caller can be read.
        EXPECT_TRUE(waitFor([] { return stateOf("halvex-gate") == 'S'; }));
        kill(static_cast<pid_t>(daemon.processId()), SIGCONT);
        expectFloodArrives(before);
        QStringList answers = linesUntil(caller, "done", answerMs);
        if (answers.contains("no done")) {
            ADD_FAILURE() << "the gate does not give up a question within seconds";
            flood.waitForFinished(secondQuestionMs);
            flood.kill();
            answers = linesUntil(caller, "done", patienceMs);
        }
        EXPECT_EQ(countOfMessages("environVars ("), 1)
            << "the gate has not read the caller, so it has not asked the other questions";
        return answers;
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
    /// A gate that waits 25 s for each answer, as bus libraries do, then loses the answer to its
    /// question about the user. When this gate asks for the user again, to confirm the id, the
    /// flood has ended.
    static constexpr int secondQuestionMs = 25000;
};

TEST_F(FloodedDaemon, MakesAnAdministratorsChange)
{
    EXPECT_EQ(callDuringFlood({"--member", "setNotifyConfig", "1", "2"}, user::root),
              QStringList{"status 0"});
    EXPECT_NE(host::readFile(notifyPath), notifySettings);
}

/// A daemon that also receives the messages that the bus policy denies, and must withstand them.
class FloodedGate : public FloodedDaemon, public testing::WithParamInterface<Flood>
{
protected:
    void SetUp() override
    {
        FloodedDaemon::SetUp();
        overridePolicy();
    }
};

TEST_P(FloodedGate, RefusesAnOrdinaryUserIfTheFloodBeginsWhileItReadsTheCaller)
{
    const QStringList answers = callDuringFlood(GetParam().options, user::ordinary);
    EXPECT_EQ(answers.size(), 1) << qPrintable(answers.join(" "));
    expectOnlyRefusals(answers);
}

TEST_P(FloodedGate, RefusesAnOrdinaryUserAtEveryMoment)
{
    const int before = peakMemory();
    QProcess &flood = startFlood(GetParam().options);
    expectFloodArrives(before);
    constexpr int calls = 50; // on a slow machine, each takes seconds
    QProcess &caller = startCaller({"waiting"}, calls, user::ordinary);
    QStringList answers = linesUntil(caller, "done", patienceMs);
    EXPECT_EQ(flood.state(), QProcess::Running);
    flood.kill();
    ASSERT_EQ(answers.takeFirst(), "calling");
    EXPECT_EQ(answers.size(), calls);
    expectOnlyRefusals(answers);
    EXPECT_TRUE(isServedWithin(10000));
}

const Flood floods[] = {
    {"WithCallsOfAPathThatDoesNotExist", {"--path", "/no/such/path"}},
    {"WithCallsOfAMethod", {"--member", "setNotifyConfig", "1", "2"}},
    {"WithSignalsToItsConnections", {"--signal", "--pid", "PID"}},
};

INSTANTIATE_TEST_SUITE_P(, FloodedGate, testing::ValuesIn(floods),
                         [](const auto &flood) { return flood.param.name; });

} // namespace
