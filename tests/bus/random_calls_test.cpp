// SPDX-License-Identifier: MIT
//
// Thousands of random calls from a front end at an allowed path. The seed is HALVEX_TEST_SEED plus
// the user's id.
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/process_resources.h"
#include "support/settings_paths.h"
#include "support/stand_in.h"

#include <QMap>

namespace {

class RandomCalls : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        for (const char *tool : {"/usr/bin/systemctl", "/usr/bin/pellmar", "/usr/bin/ps"}) {
            host::writeScript(tool, "echo active; echo halvex.net.ai\n");
        }
        host::writeScript("/usr/sbin/getstatus", "echo three admin: off\n");
        host::writeFile(settings::notifyPath,
                        "<ossec_config><alerts><notify/></alerts></ossec_config>\n");
        host::writeFile(settings::interventionPath, "action \"block\" {\ntimeout = \"1\"\n}\n");
        host::writeFile(settings::blockTimePath, "TIMEOUT=\"timeout 600s\"\n");
        host::writeFile(settings::aiPath, "model: {threshold: 80}\n");
        host::writeFile("/usr/lib/halvex_net_ai/getCount.py", "print(42)\n");
        host::writeFile("/var/log/halvex/logs/alerts/a.log", "alert\n");
        host::writeFile("/usr/sbin/halvex-desktop", host::readFile(RANDOM_FRONT_END), 0755);
        startDaemon();
    }

    /// The daemon's answer to an ordinary call.
    Reply ask()
    {
        return call("getAiInferencesCount", {}, Caller{user::root, frontEndPaths.first()});
    }

    /// The number of calls for each kind of answer, as the front end has printed them.
    static QMap<QString, int> answersIn(const QByteArray &output)
    {
        QMap<QString, int> answers;
        for (const QString &line : QString::fromUtf8(output).split('\n', Qt::SkipEmptyParts)) {
            answers[line.section(" x ", 1)] = line.section(" x ", 0, 0).toInt();
        }
        return answers;
    }

    /// Makes random calls as the user @p uid, and returns the number of answers of each kind.
    QMap<QString, int> outlive(unsigned uid)
    {
        constexpr int calls = 2000;
        const unsigned seed = qEnvironmentVariable("HALVEX_TEST_SEED", "1").toUInt();
        EXPECT_EQ(ask(), (Reply{0, {"42"}}));
        // The first export starts the process that writes exports, and opens the daemon's channel
        // to that process.
        EXPECT_EQ(call("generateLogFile", {}, Caller{user::root, frontEndPaths.first()}), Reply{0});
        // The first refusal opens the system log, which then stays open.
        EXPECT_EQ(call("generateLogFile", {}, Caller{user::root, frontEndPaths.first(), {"ENV="}}),
                  Reply{-999});
        const int before = openFilesOf(daemon.processId());
        const auto result = host::run(
            frontEndCommand(Caller{uid}, {QString::number(seed + uid), QString::number(calls)}));
        EXPECT_EQ(result.exitCode, 0) << result.output.constData() << result.errors.constData();
        std::puts(result.output.constData());
        EXPECT_EQ(ask(), (Reply{0, {"42"}}));
        EXPECT_EQ(openFilesOf(daemon.processId()), before);
        const QMap<QString, int> answers = answersIn(result.output);
        EXPECT_EQ(answers["16 MiB"], 12)
            << "not every method that takes text, standard methods included, got 16 MiB";
        // One more log line is from the refusal above.
        EXPECT_EQ(systemLog.takeLines().size(), answers["status -999"] + 1);
        return answers;
    }
};

TEST_F(RandomCalls, OfRootDoNotStopTheDaemon)
{
    const QMap<QString, int> answers = outlive(user::root);
    EXPECT_EQ(answers["status -999"], 0);
    EXPECT_GT(answers["status 0"], 300);
}

TEST_F(RandomCalls, OfAnOrdinaryUserDoNotStopTheDaemon)
{
    const QMap<QString, int> answers = outlive(user::ordinary);
    EXPECT_GT(answers["status -999"], 200);
    EXPECT_GT(answers["status 0"], 100);
}

} // namespace
