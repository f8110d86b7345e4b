// SPDX-License-Identifier: MIT
//
// A front end that does not wait for its answers. It tests how the daemon treats callers that have
// left the bus before the daemon asks the bus about them.
//
//   leaving-front-end disconnect COUNT MICROSECONDS METHOD [TEXT|NUMBER|LIST]...
//       COUNT times: connect, call, and leave the bus after a delay that grows from zero to
//       MICROSECONDS. The process itself continues.
//   leaving-front-end flood COUNT METHOD [...]
//       call COUNT times without waiting for an answer, and then leave the bus.
//   leaving-front-end leave METHOD [...]
//       call, and leave the bus as soon as the bus has received the call.
//   leaving-front-end die METHOD [...]
//       call, print the connection's name, and end at once; a child keeps the connection open
//       until it is killed.
#include "dbus/bus_names.h"
#include "dbus/detect_type.h"
#include "frontend/interface_description.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>

#include <climits>
#include <cstdio>
#include <unistd.h>

namespace {

/// The call that @p words describe: the method's name and one word for each of its arguments.
QDBusMessage request(const QStringList &words)
{
    const InterfaceDescription description = readInterfaceDescription();
    const Member *method = description.method(words.first());
    auto message = QDBusMessage::createMethodCall(halvex::busName, halvex::objectPath,
                                                  description.name, words.first());
    for (int i = 0; method != nullptr && i < method->in.size(); ++i) {
        const QString &word = words[i + 1];
        const QString &type = method->in[i].type;
        message << (type == "s"    ? QVariant(word)
                    : type == "as" ? QVariant(QStringList{word})
                    : type == "i"  ? QVariant(word.toInt())
                                   : QVariant::fromValue(DetectType{word.toInt()}));
    }
    return message;
}

void callAndDisconnect(const QDBusMessage &message, unsigned microseconds)
{
    const QString name = "leaving";
    {
        const auto connection = QDBusConnection::connectToBus(QDBusConnection::SystemBus, name);
        connection.send(message);
        usleep(microseconds);
    }
    QDBusConnection::disconnectFromBus(name);
}

/// Returns once the bus has received everything sent before: it answers in order.
void awaitBus(const QDBusConnection &connection)
{
    connection.interface()->setTimeout(INT_MAX);
    static_cast<void>(connection.interface()->isServiceRegistered(halvex::busName).value());
}

void sendForSure(const QDBusConnection &connection, const QDBusMessage &message)
{
    connection.send(message);
    awaitBus(connection);
}

void callAndLeave(const QDBusMessage &message)
{
    sendForSure(QDBusConnection::connectToBus(QDBusConnection::SystemBus, "leaving"), message);
    QDBusConnection::disconnectFromBus("leaving");
}

void flood(const QDBusMessage &message, int count)
{
    const auto connection = QDBusConnection::systemBus();
    for (int i = 0; i < count; ++i) {
        connection.send(message);
    }
    awaitBus(connection);
}

void callAndDie(const QDBusMessage &message)
{
    const auto connection = QDBusConnection::systemBus();
    sendForSure(connection, message);
    std::puts(qPrintable(connection.baseService()));
    std::fflush(stdout);
    if (fork() == 0) {
        // Close both outputs, so that their reader does not wait for the child.
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
        for (;;) {
            pause();
        }
    }
    _exit(0);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    halvex::registerDetectType();
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == "disconnect") {
        const int count = arguments[2].toInt();
        const int longest = arguments[3].toInt();
        const QDBusMessage message = request(arguments.mid(4));
        for (int i = 0; i < count; ++i) {
            callAndDisconnect(message, static_cast<unsigned>(longest * i / count));
        }
        return 0;
    }
    if (arguments.value(1) == "flood") {
        flood(request(arguments.mid(3)), arguments[2].toInt());
        return 0;
    }
    if (arguments.value(1) == "leave") {
        callAndLeave(request(arguments.mid(2)));
        return 0;
    }
    callAndDie(request(arguments.mid(2)));
}
