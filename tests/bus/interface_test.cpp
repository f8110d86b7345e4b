// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/settings_paths.h"
#include "support/stand_in.h"

namespace {

class Interface : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        startDaemon();
    }

    /// The text that dbus-send, which is not a front end, prints for a call.
    static QString send(const QStringList &call)
    {
        const auto result = host::run(QStringList{"dbus-send", "--system", "--print-reply=literal",
                                                  "--dest=com.norva.halvex.desktop"} +
                                      call);
        return QString::fromUtf8(result.output + result.errors).trimmed();
    }

    static QString method(const QString &name)
    {
        return "com.norva.halvex.desktop.com.norva.halvex.desktop." + name;
    }
};

constexpr const char *object = "/com/norva/halvex/desktop";

TEST_F(Interface, TheIntrospectionTextIsTheExpectedOne)
{
    EXPECT_EQ(send({object, "org.freedesktop.DBus.Introspectable.Introspect"}) + '\n',
              QString::fromUtf8(host::readFile(EXPECTED_INTROSPECTION)));
}

TEST_F(Interface, TheShortInterfaceNameDoesNotExist)
{
    EXPECT_EQ(send({object, "com.norva.halvex.desktop.getEventTotalCount"}),
              "Error org.freedesktop.DBus.Error.UnknownInterface: No such interface "
              "'com.norva.halvex.desktop' at object path '/com/norva/halvex/desktop'");
}

TEST_F(Interface, AnIntegerInPlaceOfADetectTypeNeverReachesTheGate)
{
    EXPECT_EQ(send({object, method("getAiConfig"), "int32:0", "string:dga_detect"}),
              "Error org.freedesktop.DBus.Error.UnknownMethod: No such method 'getAiConfig' in "
              "interface 'com.norva.halvex.desktop.com.norva.halvex.desktop' at object path "
              "'/com/norva/halvex/desktop' (signature 'is')");
    EXPECT_EQ(systemLog.takeLines(), QStringList());
    EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
}

TEST_F(Interface, EveryMethodRefusesAStrangerWithEmptyTextsAndOneLogLine)
{
    Caller stranger;
    stranger.path = "/usr/local/bin/halvex-desktop";
    host::writeFile(stranger.path, host::readFile(frontEndPaths.first()), 0755);
    for (const MethodCall &each : allMethodCalls()) {
        const QStringList empty = QVector<QString>(each.outTexts, QString("")).toList();
        EXPECT_EQ(call(each.name, each.arguments, stranger), (Reply{-999, empty})) << each.name;
        EXPECT_EQ(systemLog.takeLines(),
                  QStringList{"<14>halvex-desktop-daemon: The caller has no permission"})
            << each.name;
    }
    EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "})
        << "a refusal has written a Qt message";
}

TEST_F(Interface, ATextTooLongForTheBusIsAFailureOfEachMethodThatReadsTextFromAFile)
{
    const QByteArray text(32 << 20, 'x');
    host::writeFile(settings::notifyPath, "<ossec_config><alerts><notify><notify_fold>" + text +
                                              "</notify_fold></notify></alerts></ossec_config>\n");
    host::writeFile(settings::interventionPath,
                    "action \"block\" {\ntimeout = \"" + text + "\"\n}\n");
    host::writeFile(settings::aiPath, "dga_detect: " + text + "\n");
    host::writeFile("/var/lib/halvex/var/run/halvex-research.state",
                    "events_processed='" + text + "'\n");
    host::writeFile("/usr/lib/halvex_net_ai/getCount.py", "print('x' * (32 << 20))\n");
    host::writeStandIn("/usr/bin/pellmar", "echo halvex.net.ai\n");
    int withTexts = 0;
    for (const MethodCall &each : allMethodCalls()) {
        if (each.outTexts > 0) {
            ++withTexts;
            const QStringList empty = QVector<QString>(each.outTexts, QString("")).toList();
            // The daemon keeps less of a program's output than a reply can carry.
            const Reply expected = QString(each.name) == "getAiInferencesCount"
                                       ? Reply{0, {QString(16 << 20, 'x')}}
                                       : Reply{-1, empty};
            EXPECT_TRUE(call(each.name, each.arguments) == expected) << each.name;
        }
    }
    EXPECT_GT(withTexts, 0);
}

TEST_F(Interface, TheTestsTableOfMethodsMatchesTheInterface)
{
    QStringList described;
    for (const QString &line :
         QString::fromUtf8(host::readFile(EXPECTED_INTROSPECTION)).split('\n')) {
        if (line.contains("org.freedesktop.DBus.Properties")) {
            break;
        }
        if (line.contains("<method name=")) {
            described << line.section('"', 1, 1);
        }
    }
    QStringList tested;
    for (const MethodCall &each : allMethodCalls()) {
        tested << each.name;
    }
    EXPECT_EQ(tested, described);
}

} // namespace
