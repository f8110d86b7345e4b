// SPDX-License-Identifier: MIT
#include "stats/event_counter.h"
#include "support/host_files.h"
#include "support/printing.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

class EventCounter : public testing::Test
{
protected:
    /// The total in a state file that holds @p content.
    [[nodiscard]] QString totalIn(const QByteArray &content) const
    {
        host::writeFile(statePath, content);
        QString count = "untouched";
        EXPECT_EQ(halvex::getEventTotalCount(statePath, count), 0);
        return count;
    }

    const QTemporaryDir directory;
    const QString statePath = directory.filePath("engine.state");
};

TEST_F(EventCounter, TheQuotedNumberIsTheTotal)
{
    EXPECT_EQ(totalIn("events_processed='1234'"), "1234");
    EXPECT_EQ(totalIn("# state\nhours='1'\nevents_processed='1234'\nother='9'\n"), "1234");
}

TEST_F(EventCounter, AnUnquotedNumberIsSkipped)
{
    EXPECT_EQ(totalIn("events_processed=1234\n"), "");
    EXPECT_EQ(totalIn("events_processed=\"1234\"\n"), "");
    EXPECT_EQ(totalIn("events_processed=1234\nevents_processed='5'\n"), "5");
}

TEST_F(EventCounter, ALineWithoutItsClosingQuoteIsSkipped)
{
    EXPECT_EQ(totalIn("events_processed='1234\nevents_processed='5'\n"), "5");
    EXPECT_EQ(totalIn("events_processed='1234"), "");
    EXPECT_EQ(totalIn("events_processed='"), "");
    EXPECT_EQ(totalIn("events_processed="), "");
    EXPECT_EQ(totalIn("events_processed"), "");
}

TEST_F(EventCounter, AnEmptyQuotedValueIsAnEmptyTotal)
{
    EXPECT_EQ(totalIn("events_processed=''\nevents_processed='5'\n"), "");
}

TEST_F(EventCounter, OnlyTheFirstCompleteLineCounts)
{
    EXPECT_EQ(totalIn("events_processed='1'\nevents_processed='2'\n"), "1");
}

TEST_F(EventCounter, TheTextBetweenTheQuotesIsUnchanged)
{
    EXPECT_EQ(totalIn("events_processed=' many, 3.5e\t'\n"), " many, 3.5e\t");
    EXPECT_EQ(totalIn(QByteArray("events_processed='1\0002'\n", 22)),
              QString("1") + QChar(0) + "2");
    EXPECT_EQ(totalIn("events_processed='zw\xc3\xb6lf \xf0\x9f\x98\x80'\n"), "zwölf 😀");
}

TEST_F(EventCounter, TheKeyMayBePartOfALongerKey)
{
    EXPECT_EQ(totalIn("total_events_processed_today = '7' ='8'\n"), "8");
}

TEST_F(EventCounter, AnAssignmentBeforeTheKeyIsIgnored)
{
    EXPECT_EQ(totalIn("a='1' events_processed b='2'\n"), "2");
    EXPECT_EQ(totalIn("a='1' events_processed\n"), "");
}

TEST_F(EventCounter, ACarriageReturnDoesNotEndALine)
{
    EXPECT_EQ(totalIn("events_processed='1\r2'\r\n"), "1\r2");
}

TEST_F(EventCounter, BlankLinesDoNotEndTheSearch)
{
    EXPECT_EQ(totalIn("\n\n\nevents_processed='3'\n"), "3");
}

TEST_F(EventCounter, AnEmptyFileHasAnEmptyTotal)
{
    EXPECT_EQ(totalIn(""), "");
}

TEST_F(EventCounter, ALongLineIsReadCompletely)
{
    EXPECT_EQ(totalIn(QByteArray(1 << 20, 'x') + "events_processed='4'"), "4");
}

TEST_F(EventCounter, WithoutTheFileTheCallFails)
{
    QString count = "untouched";
    EXPECT_EQ(halvex::getEventTotalCount(directory.filePath("missing.state"), count), -1);
    EXPECT_EQ(count, "untouched");
}

TEST_F(EventCounter, AFifoInTheFilesPlaceCannotBeOpened)
{
    ASSERT_EQ(mkfifo(QFile::encodeName(statePath).constData(), 0600), 0);
    QString count = "untouched";
    EXPECT_EQ(halvex::getEventTotalCount(statePath, count), -1);
    EXPECT_EQ(count, "untouched");
}

TEST_F(EventCounter, ADirectoryInTheFilesPlaceCannotBeOpened)
{
    ASSERT_TRUE(QDir().mkpath(statePath));
    QString count = "untouched";
    EXPECT_EQ(halvex::getEventTotalCount(statePath, count), -1);
    EXPECT_EQ(count, "untouched");
}

TEST_F(EventCounter, AByteOrderMarkAnywhereIsPartOfTheTotal)
{
    EXPECT_EQ(totalIn("events_processed='\xef\xbb\xbf\xef\xbb\xbf'\n"),
              QString(2, QChar::ByteOrderMark));
    EXPECT_EQ(totalIn("events_processed='\xef\xbb\xbf' '\n"), QString(QChar::ByteOrderMark));
    EXPECT_EQ(totalIn("events_processed='7\xef\xbb\xbf'\n"), '7' + QString(QChar::ByteOrderMark));
}

} // namespace
