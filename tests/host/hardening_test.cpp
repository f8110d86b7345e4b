// SPDX-License-Identifier: MIT
//
// The protections that the daemon gets from the flags of the optimised build.
#include "support/command.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

/// The daemon's headers, dynamic section and symbols, as readelf prints them.
const QString &daemonFile()
{
    static const QString text = [] {
        const auto result = host::run({"readelf", "--headers", "--dynamic", "--dyn-syms", "--wide",
                                       BUILD "/src/halvex-desktop-daemon"});
        EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
        return QString::fromUtf8(result.output);
    }();
    return text;
}

bool has(const char *pattern)
{
    return daemonFile().contains(QRegularExpression(pattern));
}

TEST(Hardening, TheDaemonIsLoadedAtAnyAddress)
{
    EXPECT_TRUE(has("\\(FLAGS_1\\) .*\\bPIE\\b"));
}

TEST(Hardening, TheDaemonsRelocatedAddressesAreReadOnlyOnceItRuns)
{
    EXPECT_TRUE(has("\\bGNU_RELRO\\b"));
    EXPECT_TRUE(has("\\(FLAGS\\) .*\\bBIND_NOW\\b"));
}

TEST(Hardening, TheDaemonsStackIsGuardedAndHoldsNoCode)
{
    EXPECT_TRUE(has("\\b__stack_chk_fail\\b"));
    EXPECT_TRUE(has("\\bGNU_STACK\\b.* RW "));
}

TEST(Hardening, TheCLibraryChecksSizesOfBuffers)
{
    EXPECT_TRUE(has("\\b__[a-z]*printf_chk\\b"));
    EXPECT_TRUE(has("\\b__realpath_chk\\b"));
}

} // namespace
