// SPDX-License-Identifier: MIT
//
// The fixture of the tests of the gate over the bus: who is accepted and who is refused.
#pragma once

#include "support/daemon_host.h"
#include "support/host_files.h"

#include <QString>
#include <QStringList>

#include <string>

class CallerGate : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        startDaemon();
    }

    /// Whether the gate lets @p caller read.
    bool letsRead(const Caller &caller) { return lets("getEventTotalCount", {}, caller); }

    /// Which of the six changing methods accept @p caller: see letsEach().
    std::string letsChange(const Caller &caller) { return letsEach(true, caller); }

    /// "all", "none" or the names of the methods that accept @p caller.
    std::string letsEach(bool changing, const Caller &caller)
    {
        QStringList accepted;
        int number = 0;
        for (const MethodCall &each : allMethodCalls()) {
            if (each.changes == changing) {
                ++number;
                if (lets(each.name, each.arguments, caller)) {
                    accepted << each.name;
                }
            }
        }
        EXPECT_EQ(number, changing ? changingMethods : readingMethods);
        return accepted.isEmpty()          ? "none"
               : accepted.size() == number ? "all"
                                           : accepted.join(' ').toStdString();
    }

    bool lets(const QString &method, const QStringList &arguments, const Caller &caller)
    {
        return wasLetIn(call(method, arguments, caller));
    }

    /// Whether @p reply is not a refusal. Expects the matching lines in the system log.
    bool wasLetIn(const Reply &reply)
    {
        EXPECT_EQ(reply.error, "");
        const bool isAccepted = reply.status != -999;
        EXPECT_EQ(systemLog.takeLines(),
                  isAccepted
                      ? QStringList()
                      : QStringList{"<14>halvex-desktop-daemon: The caller has no permission"});
        return isAccepted;
    }

    static Caller ordinaryUser()
    {
        Caller caller;
        caller.uid = user::ordinary;
        return caller;
    }

    static Caller runBy(unsigned uid)
    {
        Caller caller;
        caller.uid = uid;
        return caller;
    }

    static Caller withEnvironment(const QStringList &entries)
    {
        Caller caller = ordinaryUser();
        caller.environment = entries;
        return caller;
    }

    static Caller wrapped(const QStringList &wrapper)
    {
        Caller caller;
        caller.wrapper = wrapper;
        return caller;
    }

    static Caller at(const QString &path)
    {
        Caller caller = ordinaryUser();
        caller.path = path;
        return caller;
    }

    static void copyFrontEnd(const QString &path, const QString &from = frontEndPaths.first())
    {
        host::writeFile(path, host::readFile(from), 0755);
    }
};
