// SPDX-License-Identifier: MIT
//
// Measures the steps of the gate one by one, each as the daemon does it, with this process as the
// caller. The service bench.bare must be on the bus.
#include "bench.h"
#include "security/caller_process.h"
#include "util/expendable_worker.h"
#include "util/switch_reader.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <unistd.h>
#include <vector>

namespace {

/// Prints the median duration of @p step, which returns whether it has succeeded.
void printStep(const char *what, const std::function<bool()> &step)
{
    constexpr int rounds = 15;
    constexpr int stepsInARound = 100;
    std::vector<double> seconds;
    for (int round = 0; round < rounds; ++round) {
        seconds.push_back(bench::secondsOf([&] {
            for (int i = 0; i < stepsInARound; ++i) {
                if (!step()) {
                    std::fprintf(stderr, "failed: %s\n", what);
                    std::exit(1);
                }
            }
        }));
    }
    std::printf("| %s | %.3f ms |\n", what, bench::medianOf(seconds) / stepsInARound * 1e3);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    halvex::ExpendableWorker worker("bench-gate"); // before there is a second thread
    const QCoreApplication application(argc, argv);
    const QDBusConnection bus = QDBusConnection::systemBus();
    const auto ping =
        QDBusMessage::createMethodCall("bench.bare", "/bench", "org.freedesktop.DBus.Peer", "Ping");
    const qint32 pid = getpid();

    printStep("a call of a method that does nothing",
              [&] { return bus.call(ping).type() == QDBusMessage::ReplyMessage; });
    printStep("a question to the bus daemon",
              [&] { return bus.interface()->servicePid(bus.baseService()).isValid(); });
    printStep("the caller's environment and namespaces", [&] {
        return halvex::readSurroundings(worker, pid, false).state == halvex::EnvironmentState::Read;
    });
    printStep("the status tool", [] {
        return halvex::querySwitch("exec /usr/sbin/getstatus", "three admin") ==
               std::optional(false);
    });
    printStep("the caller's program",
              [&] { return halvex::readProgramPath(worker, pid).has_value(); });
    return 0;
}
