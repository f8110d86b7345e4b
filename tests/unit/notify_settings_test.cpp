// SPDX-License-Identifier: MIT
#include "config/notify_settings.h"
#include "support/file_size_limit.h"
#include "support/host_files.h"
#include "support/message_log.h"
#include "support/printing.h"
#include "support/settings_paths.h"

#include <QDir>
#include <QFile>
#include <QTextCodec>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

constexpr const char *path = settings::notifyPath;

const QByteArray original = "<!-- engine -->\n"
                            "<ossec_config>\n"
                            "  <alerts>\n"
                            "    <notify>\n"
                            "      <notify_disabled>0</notify_disabled>\n"
                            "      <notify_timeout>30</notify_timeout>\n"
                            "    </notify>\n"
                            "  </alerts>\n"
                            "</ossec_config>\n";

class NotifySettingsModule : public testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(log.messages(), QStringList()); }

    int get() { return halvex::getNotifyConfig(path, disabled, timeout, fold); }

    MessageLog log;
    QString disabled = "untouched";
    QString timeout = "untouched";
    QString fold = "untouched";
};

TEST_F(NotifySettingsModule, PresentValuesAreReadAndMissingOnesStayUntouched)
{
    host::writeFile(path, original);
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(disabled, "0");
    EXPECT_EQ(timeout, "30");
    EXPECT_EQ(fold, "untouched");
}

TEST_F(NotifySettingsModule, AnEmptyContainerIsASuccess)
{
    host::writeFile(path, "<ossec_config><alerts><notify/></alerts></ossec_config>");
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(disabled, "untouched");
    EXPECT_EQ(timeout, "untouched");
    EXPECT_EQ(fold, "untouched");
}

TEST_F(NotifySettingsModule, ValuesAreUtf8)
{
    host::writeFile(path, "<ossec_config><alerts><notify><notify_fold>zw\xc3\xb6lf "
                          "\xf0\x9f\x98\x80</notify_fold></notify></alerts></ossec_config>");
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(fold, "zwölf 😀");
}

TEST_F(NotifySettingsModule, ValuesAreUtf8WhateverTheLocalesCodec)
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    host::writeFile(path, original);
    EXPECT_EQ(halvex::setNotifyConfig(path, "ö", "☂", "é"), 0);
    const QByteArray written = host::readFile(path);
    for (const char *element : {"<notify_disabled>\xc3\xb6<", "<notify_timeout>\xe2\x98\x82<",
                                "<notify_fold>\xc3\xa9<"}) {
        EXPECT_TRUE(written.contains(element)) << element;
    }
    EXPECT_EQ(get(), 0);
    EXPECT_EQ((QStringList{disabled, timeout, fold}), (QStringList{"ö", "☂", "é"}));
}

TEST_F(NotifySettingsModule, AMissingFileFails)
{
    EXPECT_EQ(get(), -1);
    EXPECT_EQ(halvex::setNotifyConfig(path, "1", "2", "3"), -1);
    EXPECT_FALSE(QFile::exists(path));
}

TEST_F(NotifySettingsModule, ADirectoryInTheFilesPlaceFails)
{
    ASSERT_TRUE(QDir().mkpath(path));
    EXPECT_EQ(get(), -1);
    EXPECT_EQ(halvex::setNotifyConfig(path, "1", "2", "3"), -1);
}

TEST_F(NotifySettingsModule, AFileWithoutTheContainerFailsAndStaysAsItIs)
{
    for (const QByteArray &xml : {QByteArray("<ossec_config> <alerts> </alerts></ossec_config>"),
                                  QByteArray("<ossec_config> </ossec_config>"),
                                  QByteArray("<ossec_config>"), QByteArray()}) {
        host::writeFile(path, xml);
        EXPECT_EQ(get(), -1);
        EXPECT_EQ(timeout, "untouched");
        EXPECT_EQ(halvex::setNotifyConfig(path, "1", "2", "3"), -1);
        EXPECT_EQ(host::readFile(path), xml);
    }
}

TEST_F(NotifySettingsModule, ThreeValuesAreWritten)
{
    host::writeFile(path, original);
    EXPECT_EQ(halvex::setNotifyConfig(path, "1", " 60 ", "a < b & ö"), 0);
    EXPECT_EQ(host::readFile(path), "<ossec_config>\n"
                                    "<alerts>\n"
                                    "<notify>\n"
                                    "<notify_disabled>1</notify_disabled>\n"
                                    "<notify_timeout> 60 </notify_timeout>\n"
                                    "<notify_fold>a &lt; b &amp; \xc3\xb6</notify_fold>\n"
                                    "</notify>\n"
                                    "</alerts>\n"
                                    "</ossec_config>\n");
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(disabled, "1");
    EXPECT_EQ(timeout, " 60 ");
    EXPECT_EQ(fold, "a < b & ö");
}

TEST_F(NotifySettingsModule, OneEmptyValueChangesNothing)
{
    host::writeFile(path, original);
    EXPECT_EQ(halvex::setNotifyConfig(path, "", "2", "3"), -1);
    EXPECT_EQ(halvex::setNotifyConfig(path, "1", "", "3"), -1);
    EXPECT_EQ(halvex::setNotifyConfig(path, "1", "2", ""), -1);
    EXPECT_EQ(host::readFile(path), original);
}

TEST_F(NotifySettingsModule, OwnerAndModeAreKept)
{
    host::writeFile(path, original, 0640);
    ASSERT_EQ(chown(path, 2001, 2002), 0);
    EXPECT_EQ(halvex::setNotifyConfig(path, "1", "2", "3"), 0);
    EXPECT_EQ(host::ownerAndMode(path), "2001:2002 0640");
}

TEST_F(NotifySettingsModule, ALinkIsFollowedAndStaysALink)
{
    host::writeFile("/srv/real.conf", original);
    ASSERT_TRUE(QDir().mkpath("/etc/halvex/research/etc"));
    ASSERT_EQ(symlink("/srv/real.conf", path), 0);
    EXPECT_EQ(halvex::setNotifyConfig(path, "1", "2", "3"), 0);
    EXPECT_NE(host::readFile("/srv/real.conf"), original);
    EXPECT_EQ(QFile::symLinkTarget(path), "/srv/real.conf");
}

TEST_F(NotifySettingsModule, AFileThatCannotBeWrittenFails)
{
    host::writeFile(path, original);
    host::makeUnwritable(path);
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(halvex::setNotifyConfig(path, "1", "2", "3"), -1);
    EXPECT_EQ(host::readFile(path), original);
}

TEST_F(NotifySettingsModule, AWriteErrorAfterSomeBytesIsReported)
{
    host::writeFile(path, original);
    const FileSizeLimit limit(16);
    EXPECT_EQ(halvex::setNotifyConfig(path, "1", "2", "3"), -1);
    EXPECT_EQ(host::readFile(path), "<ossec_config>\n<");
}

TEST_F(NotifySettingsModule, AWriteErrorWithinALongTextIsReported)
{
    host::writeFile(path, "<ossec_config><alerts><notify/></alerts></ossec_config>");
    const QByteArray text(100000, 'x');
    const FileSizeLimit limit(60000);
    EXPECT_EQ(halvex::setNotifyConfig(path, text, "2", "3"), -1);
    EXPECT_EQ(host::readFile(path),
              ("<ossec_config>\n<alerts>\n<notify>\n<notify_disabled>" + text).left(60000));
}

TEST_F(NotifySettingsModule, AFileOf64MiBIsReadAndWritten)
{
    const QByteArray long_ = QByteArray(64 << 20, 'x');
    host::writeFile(path, "<ossec_config><alerts><notify><notify_fold>" + long_ +
                              "</notify_fold></notify></alerts></ossec_config>");
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(fold.size(), long_.size());
    EXPECT_EQ(halvex::setNotifyConfig(path, "1", "2", "3"), 0);
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(fold, "3");
}

TEST_F(NotifySettingsModule, AByteOrderMarkIsPartOfTheValue)
{
    host::writeFile(path, original);
    const QString text = QChar(QChar::ByteOrderMark) + QString("7");
    EXPECT_EQ(halvex::setNotifyConfig(path, text, "2", "3"), 0);
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(disabled, text);
}

} // namespace
