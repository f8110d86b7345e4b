// SPDX-License-Identifier: MIT
//
// A throwaway host without a daemon. It has a user for each role, and stand-ins for the status tool
// and the front end at the paths of a real host.
#pragma once

#include "support/command.h"
#include "support/printing.h"
#include "support/wait_for.h"

#include <QProcess>
#include <QString>
#include <QStringList>

#include <gmock/gmock.h>

#include <climits>
#include <ostream>

/// The user ids with which the tests call.
namespace user {
constexpr unsigned root = 0;
constexpr unsigned secAdmin = 600;        ///< the separated administrator role
constexpr unsigned wheelMember = 2001;    ///< anna, named in the group wheel
constexpr unsigned ordinary = 2002;       ///< otto
constexpr unsigned wheelByPrimary = 2003; ///< pia, whose primary group is wheel
constexpr unsigned gone = 2999;           ///< not in the user database
} // namespace user

/// The paths at which the daemon accepts a front end.
inline const QStringList frontEndPaths{
    "/etc/halvex/halvex-desktop-wrapper", "/usr/sbin/halvex-desktop",
    "/var/opt/appdata/halvex/bin/halvex-desktop", "/opt/appdata/halvex/bin/halvex-desktop"};

/// What a caller got back.
struct Reply
{
    int status = INT_MIN; ///< the daemon's status; INT_MIN if the bus answered with an error
    QStringList texts{};  ///< the out-values after the status
    QString error{};      ///< the bus error's name
};

bool operator==(const Reply &left, const Reply &right);
void PrintTo(const Reply &reply, std::ostream *stream);

/// The reply that the front-end stand-in has printed as @p json.
[[nodiscard]] Reply parseReply(const QByteArray &json);

/// Who calls, and how the caller was started.
struct Caller
{
    unsigned uid = user::root;
    QString path = "/usr/sbin/halvex-desktop"; ///< the program that the caller runs
    QStringList environment{};                 ///< entries besides PATH
    QStringList wrapper{};                     ///< what starts the program, such as unshare
};

/// How many methods there are. A test that calls each method compares the number of its calls with
/// these numbers.
constexpr int readingMethods = 7;
constexpr int changingMethods = 6;

/// A method of the interface, with valid arguments.
struct MethodCall
{
    const char *name;
    QStringList arguments;
    int outTexts; ///< the number of out-values that are texts
    bool changes; ///< whether it changes the system
};

/// All methods, in the order of the interface description.
const QList<MethodCall> &allMethodCalls();

/// Adds to @p environment the settings that a build with sanitizers or coverage counters needs.
[[nodiscard]] QStringList withSanitizerOptions(QStringList environment);

/// Base of every test that calls the daemon as a front end does.
class SuiteHost : public testing::Test
{
protected:
    void SetUp() override;

    /// Calls @p method as @p caller and waits for the answer.
    [[nodiscard]] Reply call(const QString &method, const QStringList &arguments = {},
                             const Caller &caller = {});

    /// Starts a caller, runs @p beforeItCalls, and only then lets the caller call @p method.
    template <typename Action>
    [[nodiscard]] Reply callAfter(Action beforeItCalls, const QString &method,
                                  const QStringList &arguments, const Caller &caller)
    {
        QProcess process;
        startWaiting(process, method, arguments, caller);
        beforeItCalls();
        return finishWaiting(process);
    }

    /// Calls @p method with @p last as its last argument, which may be too long for a command line.
    [[nodiscard]] Reply callWithLongText(const QString &method, const QStringList &arguments,
                                         const QString &last, const Caller &caller = {});

    /// The command line that runs the front-end stand-in as @p caller with @p arguments.
    [[nodiscard]] static QStringList frontEndCommand(const Caller &caller,
                                                     const QStringList &arguments);

    /// Makes the status tool print @p text from now on.
    static void setStatusToolOutput(const QByteArray &text);

    /// How often the status tool has run.
    [[nodiscard]] static int statusToolRuns();

private:
    static void startWaiting(QProcess &process, const QString &method, const QStringList &arguments,
                             const Caller &caller);
    [[nodiscard]] static Reply finishWaiting(QProcess &process);
};
