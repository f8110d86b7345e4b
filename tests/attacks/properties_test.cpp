// SPDX-License-Identifier: MIT
//
// What strangers can reach beside the methods.
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

    /// The object's name as everybody can read it.
    static QByteArray objectName()
    {
        const auto result = host::run(
            {"dbus-send", "--system", "--print-reply=literal", "--dest=com.norva.halvex.desktop",
             "/com/norva/halvex/desktop", "org.freedesktop.DBus.Properties.Get",
             QString("string:") + theInterface, "string:objectName"});
        return result.output + result.errors;
    }
};

TEST_F(OtherMembers, NobodySetsTheObjectsName)
{
    const QByteArray before = objectName();
    for (const char *property : {theInterface, ""}) {
        for (const char *interface : {"org.freedesktop.DBus.Properties", ""}) {
            EXPECT_EQ(send({"--interface", interface, "--member", "Set", property, "objectName",
                            "variant:planted"}),
                      denied)
                << "of '" << property << "', sent to '" << interface << "'";
        }
    }
    EXPECT_EQ(objectName(), before);
}

TEST_F(OtherMembers, LargeTextsForAPropertyDoNotReachTheDaemon)
{
    EXPECT_EQ(send({"--interface", "org.freedesktop.DBus.Properties", "--member", "Set", "--large",
                    "1", theInterface, "objectName"}),
              denied);
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

TEST_F(OtherMembers, ThirteenMethodsAndTheLookersAreLetThrough)
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
    EXPECT_EQ(send({"--interface", "org.freedesktop.DBus.Properties", "--member", "GetAll",
                    theInterface}),
              "answer");
}

} // namespace
