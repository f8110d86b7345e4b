// SPDX-License-Identifier: MIT
//
// What strangers can reach besides the methods.
#include "attacks/attacked_host.h"
#include "support/command.h"
#include "support/host_files.h"

namespace {

const std::string denied = "error org.freedesktop.DBus.Error.AccessDenied";
constexpr const char *theInterface = "com.norva.halvex.desktop.com.norva.halvex.desktop";
constexpr const char *introspectable = "org.freedesktop.DBus.Introspectable";
constexpr const char *peer = "org.freedesktop.DBus.Peer";

/// The object's path and its parents.
const QStringList existingPaths{"/", "/com", "/com/norva", "/com/norva/halvex",
                                "/com/norva/halvex/desktop"};

class OtherMembers : public AttackedHost
{
protected:
    std::string send(const QStringList &options)
    {
        return attackers.run(QStringList{"flood", "--answers"} + options, user::ordinary)
            .join('\n')
            .toStdString();
    }

    /// Calls a method of the bus itself.
    static host::CommandResult callOfTheBus(const QString &method)
    {
        return host::run({"dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus",
                          "/org/freedesktop/DBus", "org.freedesktop.DBus." + method});
    }
};

TEST_F(OtherMembers, NobodySetsTheObjectsName)
{
    for (const char *property : {theInterface, ""}) {
        for (const char *interface : {"org.freedesktop.DBus.Properties", ""}) {
            EXPECT_EQ(send({"--interface", interface, "--member", "Set", property, "objectName",
                            "variant:planted"}),
                      denied)
                << "of '" << property << "', sent to '" << interface << "'";
        }
    }
}

TEST_F(OtherMembers, LargeTextsForAPropertyDoNotReachTheDaemon)
{
    EXPECT_EQ(send({"--interface", "org.freedesktop.DBus.Properties", "--member", "Set", "--large",
                    "1", theInterface, "objectName"}),
              denied);
}

TEST_F(OtherMembers, ReadingAPropertyWithALargeTextIsRefused)
{
    // An error reply would repeat the text, and the bus disconnects the sender of a reply of more
    // than 32 MiB.
    for (const char *member : {"Get", "GetAll"}) {
        for (const char *interface : {"org.freedesktop.DBus.Properties", ""}) {
            EXPECT_EQ(send({"--interface", interface, "--member", member, "--large", "1"}), denied);
        }
    }
}

TEST_F(OtherMembers, IntrospectAndPingAreRefusedForOtherPaths)
{
    // An error reply would repeat the path.
    const QString longPath = '/' + QString(100000, 'x');
    for (const QString &path : {QString("/no/such/path"), longPath}) {
        EXPECT_EQ(send({"--path", path, "--interface", introspectable, "--member", "Introspect"}),
                  denied);
        EXPECT_EQ(send({"--path", path, "--interface", peer, "--member", "Ping"}), denied);
    }
}

TEST_F(OtherMembers, IntrospectAndPingAreRefusedWithoutTheirInterfaces)
{
    for (const char *interface : {"", theInterface}) {
        for (const QString &path : existingPaths) {
            EXPECT_EQ(send({"--path", path, "--interface", interface, "--member", "Introspect"}),
                      denied)
                << qPrintable(path);
        }
        EXPECT_EQ(send({"--interface", interface, "--member", "Ping"}), denied);
    }
}

TEST_F(OtherMembers, OtherMethodsOfTheIntrospectionAreRefused)
{
    for (const QString &path : existingPaths) {
        EXPECT_EQ(send({"--path", path, "--interface", introspectable, "--member", "other"}),
                  denied)
            << qPrintable(path);
    }
}

TEST_F(OtherMembers, OnlyTheObjectsPathCanBeCalled)
{
    for (const char *path : {"/", "/com", "/com/norva/halvex/desktop/child", "/no/such/path"}) {
        for (const MethodCall &each : allMethodCalls()) {
            EXPECT_EQ(send({"--path", path, "--member", each.name}), denied)
                << path << ' ' << each.name;
        }
    }
}

TEST_F(OtherMembers, OnlyTheInterfacesMethodsCanBeCalled)
{
    for (const char *member :
         {"deleteLater", "objectNameChanged", "noSuchMethod", "handleInstallFinished"}) {
        EXPECT_EQ(send({"--member", member}), denied) << member;
        EXPECT_EQ(send({"--interface", "", "--member", member}), denied) << member;
    }
}

TEST_F(OtherMembers, CallsThatTheHostAllowsForAllNamesAreStillRefused)
{
    // The bus reads this file before those of the single services.
    host::writeFile("/etc/dbus-1/system.conf",
                    "<busconfig><policy context=\"default\"><allow send_type=\"method_call\"/>"
                    "</policy></busconfig>\n");
    ASSERT_NE(callOfTheBus("Peer.Ping").exitCode, 0);
    ASSERT_EQ(callOfTheBus("ReloadConfig").exitCode, 0);
    ASSERT_EQ(callOfTheBus("Peer.Ping").exitCode, 0) << "the host's policy does not apply";
    EXPECT_EQ(send({"--member", "deleteLater"}), denied);
    EXPECT_EQ(send({"--path", "/com"}), denied);
}

TEST_F(OtherMembers, SignalsToTheDaemonsNameAreRefused)
{
    EXPECT_EQ(send({"--signal"}), denied);
}

TEST_F(OtherMembers, AllMethodsOfTheInterfaceAndIntrospectAndPingAreLetThrough)
{
    for (const MethodCall &each : allMethodCalls()) {
        // No arguments are sent. Any other error would not be the daemon's answer.
        const std::string answer = each.arguments.isEmpty()
                                       ? "status -999"
                                       : "error org.freedesktop.DBus.Error.UnknownMethod";
        EXPECT_EQ(send({"--member", each.name}), answer) << each.name;
        EXPECT_EQ(send({"--interface", "", "--member", each.name}), answer) << each.name;
    }
    for (const QString &path : existingPaths) {
        EXPECT_EQ(send({"--path", path, "--interface", introspectable, "--member", "Introspect"}),
                  "answer")
            << qPrintable(path);
    }
    EXPECT_EQ(send({"--interface", peer, "--member", "Ping"}), "answer");
}

} // namespace
