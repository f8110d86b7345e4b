// SPDX-License-Identifier: MIT
//
// A build by plain cmake, without a preset, and the tests that it has.
#include "support/command.h"
#include "support/host_files.h"

#include <gtest/gtest.h>

namespace {

constexpr const char *path = "PATH=/usr/bin:/bin";

/// Configures a build with @p environment, and returns its commands to compile and link the daemon.
QString configuredCommands(const QStringList &environment, const QStringList &options = {})
{
    const auto result = host::run(
        QStringList{CMAKE, "-S", SOURCE, "-B", "/srv/build", "-G", "Ninja", "-DBUILD_TESTING=OFF"} +
            options,
        environment);
    EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
    const auto commands = host::run(
        {"ninja", "-C", "/srv/build", "-t", "commands", "src/halvex-desktop-daemon"}, environment);
    EXPECT_EQ(commands.exitCode, 0) << commands.errors.constData();
    return QString::fromUtf8(commands.output);
}

/// The one line of @p commands that has @p part.
QString lineThatHas(const QString &commands, const QString &part)
{
    const QStringList lines = commands.split('\n').filter(part);
    EXPECT_EQ(lines.size(), 1) << qPrintable(part);
    return lines.value(0);
}

QString compilationOfMain(const QString &commands)
{
    return lineThatHas(commands, "-c " SOURCE "/src/main/main.cpp");
}

QString linkingOfTheDaemon(const QString &commands)
{
    return lineThatHas(commands, "-o src/halvex-desktop-daemon ");
}

const QStringList &compilerFlags()
{
    static const QStringList flags{"-fstack-protector-strong", "-fstack-clash-protection",
#ifdef __x86_64__
                                   "-fcf-protection",
#endif
                                   "-D_FORTIFY_SOURCE=2"};
    return flags;
}

TEST(PlainBuild, AWarningIsAnErrorOnlyInThePresets)
{
    const QString plain = configuredCommands({path});
    EXPECT_TRUE(compilationOfMain(plain).contains(" -Wall "));
    EXPECT_FALSE(plain.contains("-Werror"));
    EXPECT_TRUE(host::readFile(BUILD "/compile_commands.json").contains(" -Werror "));
}

TEST(PlainBuild, IsOptimisedUnlessTheBuilderSaysOtherwise)
{
    EXPECT_TRUE(compilationOfMain(configuredCommands({path})).contains(" -O2 -g "));
    const QString debug = configuredCommands({path}, {"-DCMAKE_BUILD_TYPE=Debug"});
    EXPECT_FALSE(compilationOfMain(debug).contains(" -O2 "));
}

TEST(PlainBuild, HardensTheDaemon)
{
    const QString commands = configuredCommands({path});
    for (const QString &flag : compilerFlags()) {
        EXPECT_EQ(compilationOfMain(commands).count(flag), 1) << qPrintable(flag);
    }
    for (const char *flag : {" -pie ", "-z,relro", "-z,now"}) {
        EXPECT_EQ(linkingOfTheDaemon(commands).count(flag), 1) << flag;
    }
}

TEST(PlainBuild, RepeatsNoFlagThatTheBuilderHasSet)
{
    // These are the flags of dpkg-buildflags, except for the builder's own level of fortification.
    const QString commands = configuredCommands(
        {path,
         "CXXFLAGS=-O2 -D_FORTIFY_SOURCE=3 -fstack-protector-strong -fstack-clash-protection "
         "-fcf-protection",
         "LDFLAGS=-Wl,-z,relro -Wl,-z,now"});
    for (const char *flag : {"_FORTIFY_SOURCE", "-fstack-protector", "-fstack-clash-protection",
                             "-fcf-protection", "-D_FORTIFY_SOURCE=3"}) {
        EXPECT_EQ(compilationOfMain(commands).count(flag), 1) << flag;
    }
    for (const char *flag : {"-z,relro", "-z,now"}) {
        EXPECT_EQ(linkingOfTheDaemon(commands).count(flag), 1) << flag;
    }
}

TEST(PlainTests, PassWithoutRoot)
{
    // An ordinary user may not be able to enter the directory of the build.
    const QString program = "/srv/plain-tests";
    host::writeFile(program, host::readFile(BUILD "/tests/plain-tests"), 0755);
    const auto result = host::run({"setpriv", "--reuid", "65534", "--regid", "65534",
                                   "--clear-groups", program, "--gtest_shuffle"});
    EXPECT_EQ(result.exitCode, 0) << result.output.constData();
}

} // namespace
