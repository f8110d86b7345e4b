// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/process_resources.h"
#include "support/settings_paths.h"

#include <QFile>

#include <unistd.h>

namespace {

constexpr const char *path = settings::aiPath;
constexpr const char *serverPath = settings::serverAiPath;

const QByteArray original = "# the engine\n"
                            "dga_detect: off\n"
                            "model: {path: ./m.bin, 'threshold': 0x10, extra: [1.5, yes, ~]}\n"
                            "\n"
                            "name: 'it''s'\n";

class AiSettings : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        host::writeFile("/etc/os-release", "ID=norva\n");
        startDaemon();
    }

    void TearDown() override
    {
        // The daemon logs only refusals, and a test that expects one takes its log line.
        EXPECT_EQ(systemLog.takeLines(), QStringList());
        EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
        DaemonHost::TearDown();
    }

    Reply get(const QString &key)
    {
        return call("getAiConfig", {"0", key}, Caller{user::ordinary});
    }

    Reply set(const QString &key, const QString &value)
    {
        return call("setAiConfig", {"0", key, value}, Caller{user::wheelMember});
    }

    /// The content of a file with @p yaml after @p value has been written to @p key.
    QByteArray changed(const QByteArray &yaml, const QString &key, const QString &value)
    {
        host::writeFile(path, yaml);
        EXPECT_EQ(set(key, value), Reply{0});
        return host::readFile(path);
    }

    /// Tells whether writing to a file with @p yaml fails and leaves the file unchanged.
    bool isRefused(const QByteArray &yaml, const QString &key)
    {
        host::writeFile(path, yaml);
        return set(key, "1") == Reply{-1} && host::readFile(path) == yaml;
    }
};

TEST_F(AiSettings, AnOrdinaryUsersFrontEndReadsAScalar)
{
    host::writeFile(path, original);
    EXPECT_EQ(get("dga_detect"), (Reply{0, {"off"}}));
    EXPECT_EQ(get("model.threshold"), (Reply{0, {"0x10"}}));
    EXPECT_EQ(get("name"), (Reply{0, {"it's"}}));
    for (const char *key : {"", "none", "model", "model.extra", "model.extra.0", "name.x", "model.",
                            ".", "dga_detect."}) {
        EXPECT_EQ(get(key), (Reply{-1, {""}})) << key;
    }
    EXPECT_EQ(host::readFile(path), original);
}

TEST_F(AiSettings, AnAdministratorsFrontEndWritesAScalar)
{
    host::writeFile(path, original, 0640);
    ASSERT_EQ(chown(path, 2001, 2002), 0);
    EXPECT_EQ(set("dga_detect", "1"), Reply{0});
    EXPECT_EQ(host::readFile(path), "dga_detect: 1\n"
                                    "model:\n"
                                    "  path: \"./m.bin\"\n"
                                    "  threshold: 16\n"
                                    "  extra:\n"
                                    "    - \"1.5\"\n"
                                    "    - true\n"
                                    "    - ~\n"
                                    "name: \"it's\"");
    EXPECT_EQ(host::ownerAndMode(path), "2001:2002 0640");
    EXPECT_EQ(get("dga_detect"), (Reply{0, {"1"}}));
}

TEST_F(AiSettings, AMissingKeyIsAdded)
{
    EXPECT_EQ(changed("a: 1\n", "b", "on"), "a: 1\nb: true");
    EXPECT_EQ(changed("a: 1\n", "a.c", "5"), "a:\n  c: 5");
    EXPECT_EQ(changed("a: [1]\n", "a.c.d", "x y"), "a:\n  c:\n    d: \"x y\"");
    EXPECT_EQ(changed("a: 1\n", "b.", "5"), "a: 1\nb:\n  \"\": 5");
    EXPECT_EQ(changed("", "a", "5"), "a: 5");
}

TEST_F(AiSettings, AnyTypeOtherThan0IsRefused)
{
    host::writeFile(path, original);
    for (const char *type : {"1", "-1", "2147483647"}) {
        EXPECT_EQ(call("getAiConfig", {type, "dga_detect"}), (Reply{-1, {""}}));
        EXPECT_EQ(call("setAiConfig", {type, "dga_detect", "1"}), Reply{-1});
    }
    EXPECT_EQ(host::readFile(path), original);
}

TEST_F(AiSettings, AnEmptyKeyOrValueIsRefused)
{
    host::writeFile(path, original);
    EXPECT_EQ(set("", "1"), Reply{-1});
    EXPECT_EQ(set("dga_detect", ""), Reply{-1});
    EXPECT_EQ(host::readFile(path), original);
}

TEST_F(AiSettings, AnOrdinaryUserChangesNothing)
{
    host::writeFile(path, original);
    EXPECT_EQ(call("setAiConfig", {"0", "dga_detect", "1"}, Caller{user::ordinary}), Reply{-999});
    EXPECT_EQ(host::readFile(path), original);
    EXPECT_EQ(systemLog.takeLines(),
              QStringList{"<14>halvex-desktop-daemon: The caller has no permission"});
}

TEST_F(AiSettings, WritingFailsForAMissingFileButNotForAnUnwritableOne)
{
    EXPECT_EQ(get("dga_detect"), (Reply{-1, {""}}));
    EXPECT_EQ(set("dga_detect", "1"), Reply{-1});
    EXPECT_FALSE(QFile::exists(path));
    host::writeFile(path, original);
    host::makeUnwritable(path);
    EXPECT_EQ(set("dga_detect", "1"), Reply{0});
    EXPECT_EQ(host::readFile(path), original);
}

TEST_F(AiSettings, AServerEditionHasItsOwnFile)
{
    host::writeFile(path, "dga_detect: 1\n");
    host::writeFile(serverPath, "dga_detect: 2\n");
    EXPECT_EQ(get("dga_detect"), (Reply{0, {"1"}}));
    host::writeFile("/etc/os-release", "VARIANT=Server\n");
    EXPECT_EQ(get("dga_detect"), (Reply{0, {"1"}}))
        << "the edition is determined again after the start";
    stopDaemon();
    startDaemon();
    EXPECT_EQ(get("dga_detect"), (Reply{0, {"2"}}));
    EXPECT_EQ(set("dga_detect", "3"), Reply{0});
    EXPECT_EQ(host::readFile(serverPath), "dga_detect: 3");
    EXPECT_EQ(host::readFile(path), "dga_detect: 1\n");
}

TEST_F(AiSettings, AFileThatIsNotYamlFailsAndStaysUnchanged)
{
    for (const QByteArray &yaml :
         {QByteArray("a: [1"), QByteArray("\ta: 1"), QByteArray("a: *b"), QByteArray("a: b: c"),
          QByteArray("[").repeated(100000), QByteArray("- ").repeated(100000),
          QByteArray("{a: ").repeated(5000) + QByteArray("}").repeated(5000),
          QByteArray("[").repeated(64 << 20)}) {
        host::writeFile(path, yaml);
        EXPECT_EQ(get("a"), (Reply{-1, {""}}));
        EXPECT_TRUE(isRefused(yaml, "a"));
    }
}

TEST_F(AiSettings, AFileThatCannotBeWrittenBackCompletelyStaysUnchanged)
{
    EXPECT_TRUE(isRefused("? [a]\n: 1\nb: 2\n", "b"));
    EXPECT_TRUE(isRefused("? {a: b}\n: 1\nb: 2\n", "b"));
    EXPECT_TRUE(isRefused("a: &a {x: *a}\nb: 2\n", "b"));
    EXPECT_TRUE(isRefused("&a [*a]\n", "b"));
    EXPECT_TRUE(isRefused("a: 1\n---\nb: 2\n", "a"));
    EXPECT_TRUE(isRefused("[a, b]\n", "a"));
    EXPECT_TRUE(isRefused("text\n", "a"));
    EXPECT_EQ(get("a"), (Reply{-1, {""}}));
    EXPECT_EQ(changed("~: 1\nb: 2\n", "b", "3"), "\"null\": 1\nb: 3");
    EXPECT_EQ(changed("a: &x 1\nb: *x\n", "b", "3"), "a: 1\nb: 3");
}

TEST_F(AiSettings, InvalidTextIsReadAndWritten)
{
    host::writeFile(path, "a: \xff\nb: \"x\\0y\"\n\"\xff\": 1\n");
    EXPECT_EQ(get("a"), (Reply{0, {QString(QChar(0xfffd))}}));
    EXPECT_EQ(get("b"), (Reply{0, {"x"}})) << "the text does not end at its NUL character";
    EXPECT_EQ(set("a", "1"), Reply{0});
    EXPECT_EQ(host::readFile(path), "a: 1\nb: \"x\\x00y\"\n\xff: 1");
}

TEST_F(AiSettings, AKeyWithTooManyComponentsIsRefused)
{
    const auto keyOf = [](int components) { return QString("a.").repeated(components - 1) + 'a'; };
    EXPECT_TRUE(isRefused("b: 1\n", keyOf(499)));
    EXPECT_TRUE(isRefused("b: 1\n", QString(100000, '.')));
    EXPECT_EQ(set(keyOf(498), "deep"), Reply{0});
    EXPECT_EQ(get(keyOf(498)), (Reply{0, {"deep"}}));
    EXPECT_EQ(get("b"), (Reply{0, {"1"}}));
}

#ifndef __SANITIZE_ADDRESS__ // these two take half a minute in a sanitized build

TEST_F(AiSettings, AKeyOfMillionsOfFullStopsFailsWithLittleMemory)
{
    const QString key(20 << 20, '.');
    host::writeFile(path, "a: 1\n'': &a {'': *a}\n");
    EXPECT_EQ(callWithLongText("getAiConfig", {"0"}, key, Caller{user::ordinary}),
              (Reply{-1, {""}}));
    EXPECT_LT(memoryOf(daemon.processId(), "VmHWM"), 1 << 20) << "KiB";
}

TEST_F(AiSettings, AFileLargerThanAnyMessageIsServed)
{
    const QByteArray comments = QByteArray("# 345678901234\n").repeated((33 << 20) / 15);
    host::writeFile(path, comments + "a: 1\n");
    EXPECT_EQ(get("a"), (Reply{0, {"1"}}));
    EXPECT_EQ(set("a", "2"), Reply{0});
    EXPECT_EQ(host::readFile(path), "a: 2");
    host::writeFile(path, "a: " + QByteArray(33 << 20, 'x') + "\nb: 1\n");
    EXPECT_EQ(get("a"), (Reply{-1, {""}})) << "a text too long for the bus is no failure";
    EXPECT_EQ(get("b"), (Reply{0, {"1"}}));
}

#endif

} // namespace
