// SPDX-License-Identifier: MIT
//
// What strangers can reach besides the methods.
#include "attacks/attacked_host.h"

namespace {

const std::string denied = "error org.freedesktop.DBus.Error.AccessDenied";
constexpr const char *theInterface = "com.norva.halvex.desktop.com.norva.halvex.desktop";

class OtherMembers : public AttackedHost
{
protected:
    std::string send(const QStringList &options)
    {
        return attackers.run(QStringList{"flood", "--answers"} + options, user::ordinary)
            .join('\n')
            .toStdString();
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
        EXPECT_EQ(send({"--path", path, "--interface", "org.freedesktop.DBus.Introspectable",
                        "--member", "Introspect"}),
                  denied);
        EXPECT_EQ(
            send({"--path", path, "--interface", "org.freedesktop.DBus.Peer", "--member", "Ping"}),
            denied);
    }
}

TEST_F(OtherMembers, OnlyTheObjectsPathCanBeCalled)
{
    for (const char *path : {"/", "/com", "/com/norva/halvex/desktop/child", "/no/such/path"}) {
        EXPECT_EQ(send({"--path", path}), denied) << path;
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

TEST_F(OtherMembers, SignalsToTheDaemonsNameAreRefused)
{
    EXPECT_EQ(send({"--signal"}), denied);
}

TEST_F(OtherMembers, TheMethodsIntrospectAndPingAreLetThrough)
{
    for (const MethodCall &each : allMethodCalls()) {
        EXPECT_NE(send({"--member", each.name}), denied) << each.name;
        EXPECT_NE(send({"--interface", "", "--member", each.name}), denied) << each.name;
    }
    EXPECT_EQ(send({"--interface", "", "--member", bystander::method}), "status -999");
    EXPECT_EQ(
        send({"--interface", "org.freedesktop.DBus.Introspectable", "--member", "Introspect"}),
        "answer");
    EXPECT_EQ(send({"--interface", "org.freedesktop.DBus.Peer", "--member", "Ping"}), "answer");
}

} // namespace
