// SPDX-License-Identifier: MIT
#include "support/daemon_host.h"
#include "support/host_files.h"
#include "support/settings_paths.h"

#include <unistd.h>

namespace {

constexpr const char *path = settings::notifyPath;

const QByteArray original = "<?xml version=\"1.0\"?>\n"
                            "<!-- the research engine -->\n"
                            "<ossec_config>\n"
                            "  <global><email>no</email></global>\n"
                            "  <alerts level=\"3\">\n"
                            "    <notify>\n"
                            "      <notify_timeout>30</notify_timeout>\n"
                            "    </notify>\n"
                            "  </alerts>\n"
                            "</ossec_config>\n";

class NotifySettings : public DaemonHost
{
protected:
    void SetUp() override
    {
        DaemonHost::SetUp();
        startDaemon();
    }

    void TearDown() override
    {
        // The daemon logs only refusals, and a test that expects one takes its log line.
        EXPECT_EQ(systemLog.takeLines(), QStringList());
        EXPECT_EQ(daemonMessages(), QStringList{"dbus service start "});
        DaemonHost::TearDown();
    }

    Reply get() { return call("getNotifyConfig", {}, Caller{user::ordinary}); }
    Reply set(const QStringList &values)
    {
        return call("setNotifyConfig", values, Caller{user::wheelMember});
    }

    /// A configuration file, as the daemon writes it, whose notify element contains @p settings.
    static QByteArray written(const QByteArray &settings)
    {
        return "<ossec_config>\n<alerts>\n<notify>\n" + settings +
               "</notify>\n</alerts>\n</ossec_config>\n";
    }
};

TEST_F(NotifySettings, AnOrdinaryUsersFrontEndReadsPresentValues)
{
    host::writeFile(path, original);
    EXPECT_EQ(get(), (Reply{0, {"", "30", ""}}));
    EXPECT_EQ(host::readFile(path), original);
}

TEST_F(NotifySettings, AnAdministratorsFrontEndWritesAllThreeValues)
{
    host::writeFile(path, original, 0640);
    ASSERT_EQ(chown(path, 2001, 2002), 0);
    EXPECT_EQ(set({"1", " 60 ", "a < b & \"ö\""}), Reply{0});
    EXPECT_EQ(host::readFile(path), "<ossec_config>\n"
                                    "<global>\n"
                                    "<email>no</email>\n"
                                    "</global>\n"
                                    "<alerts level=\"3\">\n"
                                    "<notify>\n"
                                    "<notify_timeout> 60 </notify_timeout>\n"
                                    "<notify_disabled>1</notify_disabled>\n"
                                    "<notify_fold>a &lt; b &amp; \"\xc3\xb6\"</notify_fold>\n"
                                    "</notify>\n"
                                    "</alerts>\n"
                                    "</ossec_config>\n");
    EXPECT_EQ(host::ownerAndMode(path), "2001:2002 0640");
    EXPECT_EQ(get(), (Reply{0, {"1", " 60 ", "a < b & \"ö\""}}));
}

TEST_F(NotifySettings, AnOrdinaryUserChangesNothing)
{
    host::writeFile(path, original);
    EXPECT_EQ(call("setNotifyConfig", {"1", "2", "3"}, Caller{user::ordinary}), Reply{-999});
    EXPECT_EQ(host::readFile(path), original);
    EXPECT_EQ(systemLog.takeLines(),
              QStringList{"<14>halvex-desktop-daemon: The caller has no permission"});
}

TEST_F(NotifySettings, AnEmptyElementIsAnEmptyText)
{
    host::writeFile(path, written("<notify_disabled></notify_disabled>\n"));
    EXPECT_EQ(get(), (Reply{0, {"", "", ""}}));
}

TEST_F(NotifySettings, OneEmptyArgumentChangesNothing)
{
    host::writeFile(path, original);
    for (const QStringList &values :
         {QStringList{"", "2", "3"}, QStringList{"1", "", "3"}, QStringList{"1", "2", ""}}) {
        EXPECT_EQ(set(values), Reply{-1});
    }
    EXPECT_EQ(host::readFile(path), original);
}

TEST_F(NotifySettings, OnlyTheFirstTopLevelElementOssecConfigIsUsed)
{
    const QByteArray xml =
        "<ossec_config><alerts/></ossec_config>" + written("<notify_timeout>30</notify_timeout>\n");
    host::writeFile(path, xml);
    EXPECT_EQ(get(), (Reply{-1, {"", "", ""}}));
    EXPECT_EQ(set({"1", "2", "3"}), Reply{-1});
    EXPECT_EQ(host::readFile(path), xml);
}

TEST_F(NotifySettings, AnUnusableFileFailsAndStaysUnchanged)
{
    EXPECT_EQ(get(), (Reply{-1, {"", "", ""}})) << "without a file";
    EXPECT_EQ(set({"1", "2", "3"}), Reply{-1}) << "without a file";
    for (const QByteArray &xml :
         {QByteArray(), QByteArray("<ossec_config> <alerts> </alerts> </ossec_config>"),
          QByteArray("<ossec_config> </ossec_config>"), QByteArray("<ossec_config>"),
          QByteArray("\0\xff\xfe<", 4), QByteArray("<a>").repeated(1 << 20),
          QByteArray("<").repeated(64 << 20)}) {
        host::writeFile(path, xml);
        EXPECT_EQ(get(), (Reply{-1, {"", "", ""}}));
        EXPECT_EQ(set({"1", "2", "3"}), Reply{-1});
        EXPECT_TRUE(host::readFile(path) == xml);
    }
    host::writeFile(path, written("<notify_fold>\xff</notify_fold>\n"));
    EXPECT_EQ(get(), (Reply{0, {"", "", QString(QChar(0xfffd))}}));
}

TEST_F(NotifySettings, AFailedSaveIsReported)
{
    host::writeFile(path, original);
    host::makeUnwritable(path);
    EXPECT_EQ(set({"1", "2", "3"}), Reply{-1});
    EXPECT_EQ(host::readFile(path), original);
}

TEST_F(NotifySettings, ATextTooLongForTheBusIsAFailure)
{
    const auto fold = [](int size) {
        return written("<notify_fold>" + QByteArray(size, 'x') + "</notify_fold>\n");
    };
    host::writeFile(path, fold(64 << 20));
    EXPECT_EQ(get(), (Reply{-1, {"", "", ""}}));
    host::writeFile(path, fold((31 << 20) + 1));
    EXPECT_EQ(get(), (Reply{-1, {"", "", ""}}));
    host::writeFile(path, fold(31 << 20));
    EXPECT_TRUE(get() == (Reply{0, {"", "", QString(31 << 20, 'x')}}));
    EXPECT_EQ(set({"1", "2", "3"}), Reply{0});
    EXPECT_EQ(get(), (Reply{0, {"1", "2", "3"}}));
}

TEST_F(NotifySettings, TheLengthOfATextForTheBusIsCountedInBytes)
{
    constexpr int characters = 16 << 20;
    host::writeFile(path, written("<notify_fold>" + QByteArray("\xc3\xa9").repeated(characters) +
                                  "</notify_fold>\n"));
    EXPECT_TRUE(get() == (Reply{-1, {"", "", ""}}));
    constexpr int fitting = 15 << 20;
    host::writeFile(path, written("<notify_fold>" + QByteArray("\xc3\xa9").repeated(fitting) +
                                  "</notify_fold>\n"));
    EXPECT_TRUE(get() == (Reply{0, {"", "", QString(fitting, QChar(0xe9))}}));
}

TEST_F(NotifySettings, TextsThatTogetherAreTooLongForTheBusAreAFailure)
{
    const auto threeOf = [](int bytes) {
        const QByteArray text(bytes, 'x');
        return written("<notify_disabled>" + text + "</notify_disabled>\n<notify_timeout>" + text +
                       "</notify_timeout>\n<notify_fold>" + text + "</notify_fold>\n");
    };
    host::writeFile(path, threeOf(12 << 20));
    EXPECT_TRUE(get() == (Reply{-1, {"", "", ""}}));
    host::writeFile(path, threeOf(10 << 20));
    const QString text(10 << 20, 'x');
    EXPECT_TRUE(get() == (Reply{0, {text, text, text}}));
}

} // namespace
