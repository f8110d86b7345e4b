// SPDX-License-Identifier: MIT
#include "support/stand_in.h"

#include "support/host_files.h"
#include "support/wait_for.h"

#include <QFile>

#include <gtest/gtest.h>

namespace host {
namespace {

constexpr const char *callsPath = "/run/stand-ins.calls";

} // namespace

void writeStandIn(const QString &path, const QByteArray &body)
{
    // Record each call in a single write, because two stand-ins may run at the same time.
    writeScript(path, QByteArray("call=${0##*/}\n"
                                 "for argument; do call=\"$call <$argument>\"; done\n"
                                 "printf '%s\\n' \"$call\" >>") +
                          callsPath + "\n" + body);
}

QStringList standInCalls()
{
    if (!QFile::exists(callsPath)) {
        return {};
    }
    return QString::fromUtf8(readFile(callsPath)).split('\n', Qt::SkipEmptyParts);
}

QStringList awaitStandInCalls(int count)
{
    EXPECT_TRUE(waitFor([count] { return standInCalls().size() >= count; }));
    EXPECT_EQ(standInCalls().size(), count);
    return standInCalls();
}

} // namespace host
