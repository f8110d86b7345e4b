// SPDX-License-Identifier: MIT
//
// A front end that makes random calls of every method that introspection shows. The arguments are
// random and boundary values, sometimes values of other types or a file descriptor. It first calls
// each method that takes text with a text of 16 MiB. Each call must be answered with a status or
// with an error that is allowed for such a call.
//
//   random-front-end SEED COUNT
//
// Prints how many calls got each kind of answer ("12 x status 0"). By contract, setting a field
// never returns if the file has the action but the action lacks the field. So for the action
// "block" it sets only the field "timeout".
#include "dbus/bus_names.h"
#include "dbus/detect_type.h"
#include "model/random.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QMap>
#include <QSet>
#include <QTextStream>
#include <QXmlStreamReader>

#include <climits>

namespace {

struct Method
{
    QString interface;
    QString name;
    QStringList types; ///< the signatures of its arguments
};

/// The allowed errors: for a call that the daemon does not understand, or that the bus refuses.
const QSet<QString> deservedErrors{
    "org.freedesktop.DBus.Error.AccessDenied",
    "org.freedesktop.DBus.Error.InvalidArgs",
    "org.freedesktop.DBus.Error.UnknownInterface",
    "org.freedesktop.DBus.Error.UnknownMethod",
};

class RandomCaller
{
public:
    explicit RandomCaller(quint64 seed) : random(seed) {}

    QDBusMessage nextCall(const QVector<Method> &methods)
    {
        const Method &method = random.oneOf(methods);
        hasLongText = false;
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
        return callOf(method, values);
    }

    /// Two calls for each method that takes text. The last text of the first call has 16 MiB. The
    /// last text of the second call is short, because a large settings file would slow down all
    /// later calls.
    QVector<QDBusMessage> callsWithLongTexts(const QVector<Method> &methods)
    {
        QVector<QDBusMessage> calls;
        for (const Method &method : methods) {
            const int last = qMax(method.types.lastIndexOf("s"), method.types.lastIndexOf("as"));
            if (last >= 0) {
                for (const QString &text : {longText(), QString("1")}) {
                    calls << callOf(method, sensibleValues(method, last, text));
                }
            }
        }
        return calls;
    }

private:
    bool oneIn(int number) { return random.below(number) == 0; }

    static QDBusMessage callOf(const Method &method, const QVariantList &values)
    {
        auto call = QDBusMessage::createMethodCall(halvex::busName, halvex::objectPath,
                                                   method.interface, method.name);
        call.setArguments(values);
        return call;
    }

    /// Valid arguments for @p method, with @p text in the argument at @p position.
    static QVariantList sensibleValues(const Method &method, int position, const QString &text)
    {
        QVariantList values;
        for (int i = 0; i < method.types.size(); ++i) {
            const QString &type = method.types[i];
            const QString word = i == position ? text : "dga_detect";
            values << (type == "s"    ? QVariant(word)
                       : type == "as" ? QVariant(QStringList{word})
                       : type == "i"  ? QVariant(0)
                       : type == "v"  ? QVariant::fromValue(QDBusVariant(0))
                                      : QVariant::fromValue(DetectType{0}));
        }
        if (method.name == "setInterventionConfig") {
            values[0] = "block";
            values[1] = "timeout";
        }
        return values;
    }

    QString longText() { return oneIn(2) ? QString(16 << 20, '.') : QString(8 << 20, QChar(0xe4)); }

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
            for (int count = oneIn(50) ? 20000 : random.below(4); list.size() < count;) {
                list << (count > 4 ? QString("halvex-net-ai") : text());
            }
            return list;
        }
        return QVariant::fromValue(DetectType{oneIn(2) ? 0 : number()});
    }

    int number()
    {
        const QVector<int> boundaries{0, 1, 2, 3, -1, -2, 255, 256, INT_MAX, INT_MIN};
        return random.oneOf(boundaries);
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
                                     "\t",
                                     QChar(0xfeff),
                                     QChar(0xfffe),
                                     QChar(0xffff)};
        if (oneIn(2)) {
            return random.oneOf(boundaries);
        }
        // At most one long text in each call: the bus disconnects the sender of a message larger
        // than 32 MiB.
        if (!hasLongText && oneIn(1000)) {
            hasLongText = true;
            return longText();
        }
        QString result;
        for (int length = random.below(oneIn(20) ? 5000 : 12); result.size() < length;) {
            switch (random.below(6)) {
            case 0:
                result += QChar(0x01 + random.below(0x20 - 0x01)); // control characters
                break;
            case 1:
                result += QChar(0x20 + random.below(0x7f - 0x20));
                break;
            case 2:
                result += QChar(0x7f + random.below(0xa0 - 0x7f)); // control characters, too
                break;
            case 3:
                result += QChar(0xa0 + random.below(0xd800 - 0xa0));
                break;
            case 4:
                result += QChar(0xe000 + random.below(0x10000 - 0xe000)); // not the surrogates
                break;
            default:
                const char32_t beyond = 0x10000 + static_cast<unsigned>(random.below(0x100000));
                result += QString::fromUcs4(&beyond, 1);
            }
        }
        return result;
    }

    QVariant anyValue()
    {
        switch (random.below(7)) {
        case 0:
            return true;
        case 1:
            return 1.5;
        case 2:
            return QVariant::fromValue(QDBusVariant(text()));
        case 3:
            return QVariant::fromValue(QDBusUnixFileDescriptor(0));
        case 4:
            return QByteArray(random.below(1000), 'x');
        case 5:
            return QVariantMap{{text(), number()}};
        default:
            return text();
        }
    }

    Random random;
    bool hasLongText = false; ///< whether this call has one already
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

/// How often each kind of answer was received.
using Answers = QMap<QString, int>;

/// Makes @p call and counts the kind of its answer. If the answer is an error that is not allowed,
/// prints the error and returns false.
bool isAnswered(const QDBusConnection &bus, const QDBusMessage &call, Answers &answers)
{
    const QDBusMessage reply = bus.call(call, QDBus::Block, INT_MAX);
    const bool isError = reply.type() == QDBusMessage::ErrorMessage;
    ++answers[isError                             ? reply.errorName()
              : reply.signature().startsWith('i') ? "status " + reply.arguments()[0].toString()
                                                  : "no status"];
    if (isError && !deservedErrors.contains(reply.errorName())) {
        QTextStream(stdout) << call.member() << " got " << reply.errorName() << ": "
                            << reply.errorMessage() << '\n';
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    halvex::registerDetectType();
    const QDBusConnection bus = QDBusConnection::systemBus();
    const QVector<Method> methods = offeredMethods(bus);
    RandomCaller caller(arguments.value(1).toULongLong());
    Answers answers;
    const QVector<QDBusMessage> first = caller.callsWithLongTexts(methods);
    for (const QDBusMessage &call : first) {
        if (!isAnswered(bus, call, answers)) {
            return 1;
        }
    }
    for (int count = arguments.value(2).toInt(); count > 0 && !methods.isEmpty(); --count) {
        if (!isAnswered(bus, caller.nextCall(methods), answers)) {
            return 1;
        }
    }
    for (auto answer = answers.cbegin(); answer != answers.cend(); ++answer) {
        QTextStream(stdout) << answer.value() << " x " << answer.key() << '\n';
    }
    QTextStream(stdout) << first.size() / 2 << " x 16 MiB\n";
    return methods.isEmpty() ? 1 : 0;
}
