// SPDX-License-Identifier: MIT
//
// A front end that calls whatever the daemon offers with whatever comes to its mind: every method
// that introspection shows, with random and boundary values, at times with values of other types
// or with a file attached. Each call must be answered, be it with an error.
//
//   random-front-end SEED COUNT
//
// Prints how many calls got which kind of answer. Setting a field of an intervention that is in the
// file but lacks the field never returns, as promised; so of "block" it sets only "timeout".
#include "dbus/bus_names.h"
#include "dbus/detect_type.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QMap>
#include <QTextStream>
#include <QXmlStreamReader>

#include <random>

namespace {

struct Method
{
    QString interface;
    QString name;
    QStringList types; ///< of its arguments
};

class RandomCaller
{
public:
    explicit RandomCaller(unsigned seed) : random(seed) {}

    QDBusMessage nextCall(const QVector<Method> &methods)
    {
        const Method &method = methods[below(methods.size())];
        hasLongText = false;
        auto call = QDBusMessage::createMethodCall(halvex::busName, halvex::objectPath,
                                                   method.interface, method.name);
        QVariantList values;
        for (const QString &type : method.types) {
            values << (oneIn(40) ? anyValue() : valueOf(type));
        }
        if (method.name == "setInterventionConfig" && oneIn(3)) {
            values = {"block", "timeout", text()};
        }
        if (oneIn(40)) {
            values << anyValue();
        }
        call.setArguments(values);
        return call;
    }

private:
    int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random); }
    bool oneIn(int number) { return below(number) == 0; }

    QVariant valueOf(const QString &type)
    {
        if (type == "s") {
            return text();
        }
        if (type == "i") {
            return number();
        }
        if (type == "as") {
            QStringList list;
            for (int count = oneIn(50) ? 20000 : below(4); list.size() < count;) {
                list << (count > 4 ? QString("halvex-net-ai") : text());
            }
            return list;
        }
        return QVariant::fromValue(DetectType{oneIn(2) ? 0 : number()});
    }

    int number()
    {
        const QVector<int> boundaries{0, 1, 2, 3, -1, -2, 255, 256, INT_MAX, INT_MIN};
        return boundaries[below(boundaries.size())];
    }

    QString text()
    {
        const QStringList boundaries{"",
                                     " ",
                                     "halvex-ebpf",
                                     "halvex.net.ai",
                                     "halvex-ebpf halvex-logscan",
                                     "dga_detect",
                                     "model.threshold",
                                     ".",
                                     "..",
                                     "-",
                                     "--host=x",
                                     "-1",
                                     "0s",
                                     "\"",
                                     "'",
                                     "#",
                                     "\\",
                                     "%s%n",
                                     "$(id)",
                                     "../../etc/shadow",
                                     "blockip_timeout",
                                     "halvex-net-ai",
                                     "<a>&amp;",
                                     "]]>",
                                     "TIMEOUT=",
                                     "true",
                                     "0x7fffffff",
                                     "---",
                                     "&a *a",
                                     "!!binary",
                                     "\n",
                                     "\r\n",
                                     "\t"};
        if (oneIn(2)) {
            return boundaries[below(boundaries.size())];
        }
        // One in a call: the bus cuts off whoever sends more than 32 MiB.
        if (!hasLongText && oneIn(300)) {
            hasLongText = true;
            return oneIn(2) ? QString(16 << 20, '.') : QString(8 << 20, QChar(0xe4));
        }
        QString result;
        for (int length = below(oneIn(20) ? 5000 : 12); result.size() < length;) {
            switch (below(4)) {
            case 0:
                result += QChar(1 + below(31)); // control characters
                break;
            case 1:
                result += QChar(32 + below(95));
                break;
            case 2:
                result += QChar(0xa0 + below(0xd800 - 0xa0));
                break;
            default:
                const char32_t beyond = 0x10000 + static_cast<unsigned>(below(0x100000));
                result += QString::fromUcs4(&beyond, 1);
            }
        }
        return result;
    }

    QVariant anyValue()
    {
        switch (below(7)) {
        case 0:
            return true;
        case 1:
            return 1.5;
        case 2:
            return QVariant::fromValue(QDBusVariant(text()));
        case 3:
            return QVariant::fromValue(QDBusUnixFileDescriptor(0));
        case 4:
            return QByteArray(below(1000), 'x');
        case 5:
            return QVariantMap{{text(), number()}};
        default:
            return text();
        }
    }

    std::mt19937 random;
    bool hasLongText = false; ///< in this call
};

QVector<Method> offeredMethods(const QDBusConnection &bus)
{
    const auto reply = bus.call(QDBusMessage::createMethodCall(
        halvex::busName, halvex::objectPath, "org.freedesktop.DBus.Introspectable", "Introspect"));
    QVector<Method> methods;
    QString interface;
    for (QXmlStreamReader xml(reply.arguments().value(0).toString()); !xml.atEnd();
         xml.readNext()) {
        const auto attribute = [&](const char *name) {
            return xml.attributes().value(QLatin1String(name)).toString();
        };
        if (!xml.isStartElement()) {
            continue;
        }
        if (xml.name() == QLatin1String("interface")) {
            interface = attribute("name");
        } else if (xml.name() == QLatin1String("method")) {
            methods.append({interface, attribute("name"), {}});
        } else if (xml.name() == QLatin1String("arg") && attribute("direction") == "in") {
            methods.last().types << attribute("type");
        }
    }
    return methods;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    halvex::registerDetectType();
    const QDBusConnection bus = QDBusConnection::systemBus();
    const QVector<Method> methods = offeredMethods(bus);
    RandomCaller caller(arguments.value(1).toUInt());
    QMap<QString, int> answers;
    for (int count = arguments.value(2).toInt(); count > 0 && !methods.isEmpty(); --count) {
        const QDBusMessage call = caller.nextCall(methods);
        const QDBusMessage reply = bus.call(call, QDBus::Block, 60000);
        const QString kind = reply.type() == QDBusMessage::ErrorMessage ? reply.errorName()
                             : reply.signature().startsWith('i')
                                 ? "status " + reply.arguments().value(0).toString()
                                 : "no status";
        ++answers[kind];
        if (kind == "org.freedesktop.DBus.Error.NoReply" ||
            kind == "org.freedesktop.DBus.Error.ServiceUnknown") {
            QTextStream(stdout) << "no answer to " << call.member() << '\n';
            return 1;
        }
    }
    for (auto answer = answers.cbegin(); answer != answers.cend(); ++answer) {
        QTextStream(stdout) << answer.value() << " x " << answer.key() << '\n';
    }
    return methods.isEmpty() ? 1 : 0;
}
