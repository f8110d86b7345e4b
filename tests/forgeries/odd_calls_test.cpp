// SPDX-License-Identifier: MIT
//
// Calls of the methods in forms that a real front end never uses: with other flags,
// without an interface or with another one, and with other arguments.
#include "forgeries/forgery_host.h"
#include "support/host_files.h"
#include "support/stand_in.h"

#include <array>

namespace {

constexpr unsigned noReply = 1;

/// 1 is "no reply", 2 "no auto-start", 4 "interactive authorization allowed". Higher bits have no
/// meaning.
constexpr std::array<unsigned, 10> allFlags{0, 1, 2, 3, 4, 7, 8, 0x80, 0xf8, 0xff};

class OddCalls : public ForgeryHost
{
protected:
    void SetUp() override
    {
        ForgeryHost::SetUp();
        startDaemon();
    }

    static QStringList withFlags(unsigned flags, const QStringList &words)
    {
        return QStringList{"call", QString("--flags=%1").arg(flags)} + words.mid(1);
    }

    /// The expected answer with @p status to a call with @p flags: none if the caller wants no
    /// reply.
    static Reply answer(unsigned flags, int status)
    {
        return (flags & noReply) != 0 ? Reply{} : Reply{status};
    }

    static QStringList withoutInterface(const WordedCall &call)
    {
        return QStringList{"call", object, "-", call.method} + call.words;
    }

    static Caller stranger() { return Caller{user::root, "/usr/local/bin/stranger"}; }
};

TEST_F(OddCalls, WithAnyFlagsARefusedCallerStaysRefused)
{
    Caller tainted = runBy(user::root);
    tainted.wrapper = QStringList{"env", "ENV=x"};
    for (const unsigned flags : allFlags) {
        for (const Caller &caller : {stranger(), runBy(user::ordinary), tainted}) {
            EXPECT_EQ(odd(withFlags(flags, changing), caller), answer(flags, -999)) << flags;
            expectItServes();
            EXPECT_EQ(systemLog.takeLines(),
                      QStringList{"<14>halvex-desktop-daemon: The caller has no permission"})
                << flags;
        }
    }
    expectNothingDone();
}

TEST_F(OddCalls, WithAnyFlagsAnAdministratorsChangeIsMade)
{
    QStringList expected;
    for (const unsigned flags : allFlags) {
        EXPECT_EQ(odd(withFlags(flags, changing), runBy(user::wheelMember)), answer(flags, 0))
            << flags;
        expected << "systemctl <restart> <halvex-ebpf>";
        EXPECT_EQ(host::awaitStandInCalls(expected.size()), expected) << flags;
    }
    expectItServes();
    EXPECT_EQ(systemLog.takeLines(), QStringList());
}

TEST_F(OddCalls, WithoutAnInterfaceEachMethodRefusesAStranger)
{
    for (const WordedCall &each : allWordedCalls()) {
        expectRefused(odd(withoutInterface(each), stranger()));
    }
    expectNothingDone();
    expectItServes();
}

TEST_F(OddCalls, WithoutAnInterfaceAnOrdinaryUserChangesNothing)
{
    ASSERT_EQ(allMethodCalls().size(), allWordedCalls().size());
    int changes = 0;
    for (int i = 0; i < allMethodCalls().size(); ++i) {
        ASSERT_EQ(allMethodCalls()[i].name, allWordedCalls()[i].method);
        if (allMethodCalls()[i].changes) {
            ++changes;
            expectRefused(odd(withoutInterface(allWordedCalls()[i]), runBy(user::ordinary)));
        }
    }
    EXPECT_EQ(changes, changingMethods);
    expectNothingDone();
    expectItServes();
}

TEST_F(OddCalls, WithoutAnInterfaceAnAdministratorIsServed)
{
    EXPECT_EQ(odd(withoutInterface({"restartService", {"s=halvex-ebpf"}}), runBy(user::root)),
              Reply{0});
    EXPECT_EQ(host::standInCalls(), QStringList{"systemctl <restart> <halvex-ebpf>"});
    expectItServes();
}

TEST_F(OddCalls, WithAnotherInterfaceNoMethodRuns)
{
    for (const char *each :
         {"com.norva.halvex.desktop", "com.norva.halvex.desktop.com.norva.halvex",
          "com.norva.halvex.desktop.com.norva.halvex.desktop.x", "org.example.Other",
          "org.freedesktop.DBus.Peer", "org.freedesktop.DBus.Introspectable",
          "org.freedesktop.DBus.Properties"}) {
        for (const WordedCall &call : allWordedCalls()) {
            const Reply reply =
                odd(QStringList{"call", object, each, call.method} + call.words, runBy(user::root));
            EXPECT_NE(reply.error, "") << each << '.' << qPrintable(call.method);
        }
    }
    EXPECT_EQ(callsAtTheGate(), 0);
    expectNothingDone();
    expectItServes();
}

TEST_F(OddCalls, WithADetectTypeOfAnotherSignatureNeverReachTheGate)
{
    const QStringList key{"s=dga_detect"};
    const QStringList value{"s=1"};
    for (const char *type : {"i=0", "u=0", "s=0", "(ii)=0", "(s)=0", "(u)=0", "(x)=0", "((i))=0",
                             "(v)=0", "a(i)=0", "ai=0", "v=0", "()"}) {
        const QStringList get{"call", object, interface, "getAiConfig", type};
        EXPECT_NE(odd(get + key, runBy(user::root)).error, "") << type;
        const QStringList set{"call", object, interface, "setAiConfig", type};
        EXPECT_NE(odd(set + key + value, runBy(user::root)).error, "") << type;
    }
    EXPECT_EQ(callsAtTheGate(), 0);
    expectNothingDone();
    expectItServes();
}

TEST_F(OddCalls, WithArgumentsMissingSwappedOrAddedNeverReachTheGate)
{
    const QStringList get{"call", object, interface, "getAiConfig"};
    const QStringList set{"call", object, interface, "setAiConfig"};
    for (const QStringList &words :
         {get, get + QStringList{"(i)=0"}, get + QStringList{"s=dga_detect"},
          get + QStringList{"s=dga_detect", "(i)=0"}, set, set + QStringList{"(i)=0"},
          set + QStringList{"(i)=0", "s=dga_detect"}, set + QStringList{"s=dga_detect", "s=1"},
          set + QStringList{"s=dga_detect", "s=1", "(i)=0"},
          get + QStringList{"(i)=0", "s=dga_detect", "s=more"},
          get + QStringList{"(i)=0", "s=dga_detect", "(i)=0"},
          set + QStringList{"(i)=0", "s=dga_detect", "s=1", "s=more"},
          set + QStringList{"(i)=0", "s=dga_detect", "s=1", "(i)=0"}}) {
        EXPECT_NE(odd(words, runBy(user::root)).error, "") << qPrintable(words.join(' '));
    }
    EXPECT_EQ(callsAtTheGate(), 0);
    expectNothingDone();
    expectItServes();
}

} // namespace
