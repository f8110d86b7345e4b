// SPDX-License-Identifier: MIT
//
// Stands in for the suite's graphical front end: calls any method of the daemon and shows the
// reply, or shows the daemon's signals. The daemon serves it only if it is installed at one of the
// front end's paths.
#include "dbus/bus_names.h"
#include "dbus/detect_type.h"
#include "frontend/interface_description.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <optional>

namespace {

constexpr int answered = 0;
constexpr int failed = 1;
constexpr int misused = 2;

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QString argumentText(const Argument &argument)
{
    return argument.name + (argument.type == "as" ? "..." : "");
}

int showUsage(const InterfaceDescription &description)
{
    out()
        << "Usage: halvex-desktop [--json] METHOD [ARGUMENT]...         call a method\n"
           "       halvex-desktop [--json] --wait METHOD [ARGUMENT]...  call it at the end of "
           "input\n"
           "       halvex-desktop [--json] --lines                      make a call for each "
           "line of the input:\n"
           "                                                            METHOD and its ARGUMENTs, "
           "separated by tabs\n"
           "       halvex-desktop [--json] --input METHOD [ARGUMENT]... call it with the input as "
           "its last argument\n"
           "       halvex-desktop [--json] --listen [COUNT]             show COUNT signals, or "
           "all\n"
           "\n"
           "Methods:\n";
    for (const Member &method : description.methods) {
        QStringList arguments;
        for (const Argument &argument : method.in) {
            arguments << argumentText(argument);
        }
        out() << "  " << method.name << " " << arguments.join(' ') << "\n";
    }
    out().flush();
    return misused;
}

/// Converts @p texts to the bus value of an argument with the signature @p type. Returns an invalid
/// value if that fails. Only a list takes more than one text.
QVariant busValue(const QString &type, const QStringList &texts)
{
    if (type == "as") {
        return texts;
    }
    if (type == "s") {
        return texts.first();
    }
    bool isNumber = false;
    const int number = texts.first().toInt(&isNumber);
    if (!isNumber) {
        return {};
    }
    return type == "(i)" ? QVariant::fromValue(DetectType{number}) : QVariant(number);
}

std::optional<QVariantList> busValues(const Member &method, const QStringList &texts)
{
    const bool takesList = !method.in.isEmpty() && method.in.last().type == "as";
    if (takesList ? texts.size() < method.in.size() - 1 : texts.size() != method.in.size()) {
        return std::nullopt;
    }
    QVariantList values;
    for (int i = 0; i < method.in.size(); ++i) {
        const QString &type = method.in[i].type;
        values << busValue(type, type == "as" ? texts.mid(i) : QStringList{texts[i]});
        if (!values.last().isValid()) {
            return std::nullopt;
        }
    }
    return values;
}

QString shown(const QVariant &value)
{
    if (value.type() == QVariant::String) {
        return '"' + value.toString() + '"';
    }
    if (value.type() == QVariant::StringList) {
        return "[\"" + value.toStringList().join("\", \"") + "\"]";
    }
    return value.toString();
}

void showJson(const QJsonObject &object)
{
    out() << QJsonDocument(object).toJson(QJsonDocument::Compact) << "\n";
    out().flush();
}

void showMember(const QString &head, const QVector<Argument> &arguments, const QVariantList &values,
                bool asJson)
{
    if (asJson) {
        showJson({{"member", head}, {"values", QJsonArray::fromVariantList(values)}});
        return;
    }
    out() << head << "\n";
    for (int i = 0; i < arguments.size() && i < values.size(); ++i) {
        const QString name = arguments[i].name.isEmpty() ? "status" : arguments[i].name;
        out() << "  " << name << " = " << shown(values[i]) << "\n";
    }
    out().flush();
}

QByteArray readInput()
{
    QFile input;
    static_cast<void>(input.open(stdin, QIODevice::ReadOnly));
    return input.readAll();
}

int call(const InterfaceDescription &description, const QStringList &arguments, bool asJson)
{
    const Member *method = description.method(arguments.value(0));
    const auto values = method != nullptr ? busValues(*method, arguments.mid(1)) : std::nullopt;
    if (!values) {
        return showUsage(description);
    }
    auto request = QDBusMessage::createMethodCall(halvex::busName, halvex::objectPath,
                                                  description.name, method->name);
    request.setArguments(*values);
    const QDBusMessage reply = QDBusConnection::systemBus().call(request, QDBus::Block, INT_MAX);
    if (reply.type() == QDBusMessage::ReplyMessage) {
        showMember(method->name, method->out, reply.arguments(), asJson);
        return answered;
    }
    if (asJson) {
        showJson({{"error", reply.errorName()}, {"message", reply.errorMessage()}});
    } else {
        out() << reply.errorName() << ": " << reply.errorMessage() << "\n";
        out().flush();
    }
    return failed;
}

/// Makes one call for each line of the input: a method and its arguments, separated by tabs.
int callEachLine(const InterfaceDescription &description, bool asJson)
{
    QTextStream input(stdin);
    for (QString line; input.readLineInto(&line);) {
        static_cast<void>(call(description, line.split('\t'), asJson));
    }
    return answered;
}

/// Shows each signal of the daemon's interface when it arrives.
class SignalViewer : public QObject
{
    Q_OBJECT

public:
    SignalViewer(const InterfaceDescription &interface, int number, bool json)
        : description(interface), remaining(number), asJson(json)
    {
        for (const Member &member : description.signalMembers) {
            QDBusConnection::systemBus().connect(QString(), halvex::objectPath, description.name,
                                                 member.name, this, SLOT(show(QDBusMessage)));
        }
        // The bus handles messages in order: when it answers this call, it has the match rules.
        static_cast<void>(
            QDBusConnection::systemBus().interface()->isServiceRegistered(halvex::busName).value());
        showMember("listening", {}, {}, asJson);
    }

public slots:
    void show(const QDBusMessage &message)
    {
        for (const Member &member : description.signalMembers) {
            if (member.name == message.member()) {
                showMember(member.name, member.out, message.arguments(), asJson);
            }
        }
        if (--remaining == 0) {
            QCoreApplication::quit();
        }
    }

private:
    const InterfaceDescription &description;
    int remaining;
    bool asJson;
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const InterfaceDescription description = readInterfaceDescription();
    halvex::registerDetectType();

    QStringList arguments = QCoreApplication::arguments().mid(1);
    const bool asJson = !arguments.isEmpty() && arguments.first() == "--json";
    if (asJson) {
        arguments.removeFirst();
    }
    if (arguments.isEmpty()) {
        return showUsage(description);
    }
    if (arguments.first() == "--listen") {
        const SignalViewer viewer(description, arguments.value(1).toInt(), asJson);
        return QCoreApplication::exec();
    }
    if (arguments.first() == "--lines") {
        return callEachLine(description, asJson);
    }
    if (arguments.first() == "--input") {
        arguments.removeFirst();
        arguments << QString::fromUtf8(readInput());
    } else if (arguments.first() == "--wait") {
        arguments.removeFirst();
        static_cast<void>(QDBusConnection::systemBus().isConnected());
        showMember("waiting", {}, {}, asJson);
        static_cast<void>(readInput());
    }
    return call(description, arguments, asJson);
}

#include "front_end.moc"
