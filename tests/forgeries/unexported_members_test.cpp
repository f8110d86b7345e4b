// SPDX-License-Identifier: MIT
//
// Members of the daemon's objects other than the methods, and object paths other than the daemon's.
// Root's front end makes the calls, which the gate would always accept. The bus policy, which
// denies them, does not apply: the daemon itself must refuse them.
#include "forgeries/forgery_host.h"
#include "support/host_files.h"

namespace {

class UnexportedMembers : public ForgeryHost
{
protected:
    void SetUp() override
    {
        ForgeryHost::SetUp();
        overridePolicy();
        startDaemon();
    }

    /// Expects that the daemon answers the call with an error, without asking the gate.
    static void expectError(const QString &path, const QString &calledInterface,
                            const WordedCall &call)
    {
        const QStringList words{"call", path, calledInterface, call.method};
        const Reply reply = odd(words + call.words, runBy(user::root));
        EXPECT_TRUE(reply.error.startsWith("org.freedesktop.DBus.Error.Unknown"))
            << qPrintable(words.join(' ') + ": " + reply.error);
        EXPECT_EQ(callsAtTheGate(), 0) << qPrintable(words.join(' '));
    }

    /// The output of dbus-send that introspects @p path, including errors.
    static QByteArray introspect(const QString &path)
    {
        const auto result = host::run({"dbus-send", "--system", "--print-reply=literal",
                                       "--dest=com.norva.halvex.desktop", path,
                                       "org.freedesktop.DBus.Introspectable.Introspect"});
        return result.output + result.errors;
    }
};

TEST_F(UnexportedMembers, OfTheDaemonsObjectsCannotBeCalled)
{
    const QList<WordedCall> members{
        // The service object's own slots.
        {"handleInstallProgress", {"i=66", "s=forged", "s=forged"}},
        {"handleInstallFinished", {"b=1", "as=forged", "s=#0204", "s=forged"}},
        // The signals, called as methods.
        {"installProgress", {"i=66", "s=forged", "s=forged"}},
        {"installFinished", {"i=1", "as=forged", "s=forged", "s=forged"}},
        // Members of every QObject.
        {"deleteLater", {}},
        {"destroyed", {}},
        {"objectNameChanged", {"s=forged"}},
        {"setObjectName", {"s=forged"}},
        {"_q_reregisterTimers", {"v=0"}},
        // Functions that are not slots.
        {"checkCaller", {"b=0"}},
        {"setAutoRelaySignals", {"b=0"}},
        {"interventionConfigPath", {}},
    };
    QProcess listener;
    const QStringList command =
        frontEndCommand(Caller{user::root, frontEndPaths.first()}, {"--listen", "1"});
    listener.start(command.first(), command.mid(1));
    ASSERT_TRUE(listener.waitForReadyRead(patienceMs));
    ASSERT_EQ(listener.readLine(), "listening\n");
    for (const char *each : {interface, "-", "com.norva.halvex.desktop"}) {
        for (const WordedCall &member : members) {
            expectError(object, each, member);
        }
    }
    expectNothingDone();
    expectItServes();
    // This signal ends the listening front end, which does not check a signal's sender. It arrives
    // after all signals of the daemon.
    ASSERT_EQ(host::run({FORGER, "signal", "-", object, interface, "installProgress", "i=3",
                         "s=end", "s="})
                  .output,
              "sent\n");
    EXPECT_TRUE(listener.waitForFinished(patienceMs));
    EXPECT_EQ(listener.readAllStandardOutput(),
              "installProgress\n  percent = 3\n  status = \"end\"\n  details = \"\"\n");
    EXPECT_TRUE(introspect(object).contains(interface)) << "the adaptor is gone";
}

TEST_F(UnexportedMembers, AtOtherPathsNoMethodRuns)
{
    for (const char *path :
         {"/", "/com", "/com/norva", "/com/norva/halvex", "/com/norva/halvex/desktop/x",
          "/com/norva/halvex/desktop/com/norva", "/com/norva/halvex/Desktop"}) {
        for (const WordedCall &each : allWordedCalls()) {
            expectError(path, interface, each);
        }
        expectError(path, "-", {"restartService", {"s=halvex-ebpf"}});
        expectError(path, "-", {"generateLogFile", {}});
        // The introspection of a parent path may name its children.
        EXPECT_FALSE(introspect(path).contains("method name=\"restartService\"")) << path;
        EXPECT_FALSE(introspect(path).contains(interface)) << path;
    }
    expectNothingDone();
    expectItServes();
}

} // namespace
