// SPDX-License-Identifier: MIT
//
// Round trips over the bus, by a program that stands where a front end does. Takes the number of
// rounds.
#include "bench.h"
#include "dbus/bus_names.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>

#include <cstdlib>

namespace {

constexpr int callsInARound = 200;

/// Makes a round of calls that must all give @p status.
bench::Action round(const QDBusMessage &message, int status)
{
    return [message, status] {
        for (int call = 0; call < callsInARound; ++call) {
            const auto reply = QDBusConnection::systemBus().call(message);
            if (reply.arguments().value(0, INT_MIN).toInt() != status) {
                std::fprintf(stderr, "%s: %s\n", qPrintable(message.member()),
                             qPrintable(reply.errorMessage()));
                std::exit(1);
            }
        }
    };
}

QDBusMessage callOf(const char *method, const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        halvex::busName, halvex::objectPath, QString("%1.%1").arg(QLatin1String(halvex::busName)),
        method);
    message.setArguments(arguments);
    return message;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const int rounds = 15;
    const auto read = round(callOf("getEventTotalCount"), 0);
    const bool isStranger = QCoreApplication::arguments().value(1) == "refused";
    if (isStranger) {
        // Prints the time of its refused calls alone, for the one who compares.
        std::vector<double> times;
        for (int i = 0; i < rounds; ++i) {
            times.push_back(bench::secondsOf(round(callOf("getEventTotalCount"), -999)));
        }
        std::printf("%.9f\n", bench::medianOf(times) / callsInARound);
        return 0;
    }
    bench::compare("200 round trips of getEventTotalCount, beside a bare QtDBus service", rounds,
                   read,
                   round(QDBusMessage::createMethodCall("bench.bare", "/bench", "bench.bare",
                                                        "getEventTotalCount"),
                         0),
                   "1.05");
    bench::compare("200 changes of notification settings, beside the read call", rounds,
                   round(callOf("setNotifyConfig", {"0", "30", "1"}), 0), read, "1.15");
    bench::compare("200 changes of an intervention field, beside the read call", rounds,
                   round(callOf("setInterventionConfig", {"block", "timeout", "30"}), 0), read,
                   "1.15");
    return 0;
}
