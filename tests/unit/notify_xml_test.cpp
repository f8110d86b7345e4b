// SPDX-License-Identifier: MIT
#include "config/notify_xml.h"

#include <gtest/gtest.h>

namespace {

using halvex::NotifyValues;

QByteArray documentWith(const QByteArray &settings)
{
    return "<ossec_config><alerts><notify>" + settings + "</notify></alerts></ossec_config>";
}

/// The value of the element notify_timeout in @p settings.
QByteArray timeoutIn(const QByteArray &settings)
{
    const auto values = halvex::notifyValuesIn(documentWith(settings));
    return values ? (*values)[1] : "(nothing)";
}

/// The document @p xml after the three settings have been set to 1, 2 and 3.
QByteArray changed(const QByteArray &xml)
{
    return halvex::withNotifyValues(xml, {"1", "2", "3"}).value_or("(nothing)");
}

TEST(NotifyXml, TheThreeValuesAreReadInAnyOrder)
{
    EXPECT_EQ(halvex::notifyValuesIn(
                  documentWith("<notify_fold>c</notify_fold><notify_timeout>b</notify_timeout>"
                               "<notify_disabled>a</notify_disabled>")),
              (NotifyValues{"a", "b", "c"}));
}

TEST(NotifyXml, AMissingOrEmptyElementHasAnEmptyValue)
{
    EXPECT_EQ(halvex::notifyValuesIn(documentWith("<notify_timeout>30</notify_timeout>")),
              (NotifyValues{"", "30", ""}));
    EXPECT_EQ(timeoutIn("<notify_timeout></notify_timeout>"), "");
    EXPECT_EQ(timeoutIn("<notify_timeout/>"), "");
    EXPECT_EQ(halvex::notifyValuesIn(documentWith("")), NotifyValues());
}

TEST(NotifyXml, TheFirstOfTwoElementsWithTheSameNameCounts)
{
    EXPECT_EQ(timeoutIn("<notify_timeout>1</notify_timeout><notify_timeout>2</notify_timeout>"),
              "1");
    EXPECT_EQ(timeoutIn("<notify_timeout/><notify_timeout>2</notify_timeout>"), "");
}

TEST(NotifyXml, TheValueIsTheFirstTextChild)
{
    EXPECT_EQ(timeoutIn("<notify_timeout><b>no</b>1<b/>2</notify_timeout>"), "1");
    EXPECT_EQ(timeoutIn("<notify_timeout><![CDATA[<1>]]>2</notify_timeout>"), "<1>");
    EXPECT_EQ(timeoutIn("<notify_timeout><!-- no -->1</notify_timeout>"), "1");
}

TEST(NotifyXml, BlanksAroundAValueBelongToIt)
{
    EXPECT_EQ(timeoutIn("<notify_timeout> 30\t</notify_timeout>"), " 30\t");
}

TEST(NotifyXml, AValueOfOnlyBlanksIsEmpty)
{
    EXPECT_EQ(timeoutIn("<notify_timeout>  </notify_timeout>"), "");
}

TEST(NotifyXml, EscapesAreResolvedAndLineEndsNormalised)
{
    EXPECT_EQ(timeoutIn("<notify_timeout>&lt;&amp;&#x41;&#66;</notify_timeout>"), "<&AB");
    EXPECT_EQ(timeoutIn("<notify_timeout>a\r\nb\rc</notify_timeout>"), "a\nb\nc");
}

TEST(NotifyXml, OtherEncodingsAreRecognised)
{
    QByteArray utf16 = "\xff\xfe";
    for (const char byte : documentWith("<notify_timeout>30</notify_timeout>")) {
        utf16 += byte;
        utf16 += '\0';
    }
    const auto values = halvex::notifyValuesIn(utf16);
    ASSERT_TRUE(values);
    EXPECT_EQ((*values)[1], "30");
    EXPECT_EQ(timeoutIn("<notify_timeout>30</notify_timeout>"), "30");
    EXPECT_EQ(halvex::notifyValuesIn("\xef\xbb\xbf" + documentWith("")), NotifyValues());
}

TEST(NotifyXml, InvalidUtf8IsKept)
{
    EXPECT_EQ(timeoutIn("<notify_timeout>\xff\xc3</notify_timeout>"), "\xff\xc3");
}

TEST(NotifyXml, WithoutTheContainerNothingIsReadOrWritten)
{
    for (const char *xml :
         {"<ossec_config/>", "<ossec_config><alerts/></ossec_config>",
          "<ossec_config><notify/></ossec_config>", "<alerts><notify/></alerts>",
          "<other><ossec_config><alerts><notify/></alerts></ossec_config></other>",
          "<ossec_config><alerts/><alerts><notify/></alerts></ossec_config>"}) {
        EXPECT_EQ(halvex::notifyValuesIn(xml), std::nullopt) << xml;
        EXPECT_EQ(changed(xml), "(nothing)") << xml;
    }
}

TEST(NotifyXml, OnlyTheFirstTopLevelElementOssecConfigIsUsed)
{
    const QByteArray second = documentWith("<notify_timeout>2</notify_timeout>");
    EXPECT_EQ(halvex::notifyValuesIn("<ossec_config><alerts/></ossec_config>" + second),
              std::nullopt);
    EXPECT_EQ(halvex::notifyValuesIn(documentWith("<notify_timeout>1</notify_timeout>") + second),
              (NotifyValues{"", "1", ""}));
    EXPECT_EQ(halvex::notifyValuesIn("<other/>" + second), (NotifyValues{"", "2", ""}));
}

TEST(NotifyXml, AMalformedDocumentIsNeitherReadNorWritten)
{
    for (const char *xml :
         {"", " ", "text", "<ossec_config>", "<a></b>", "<!-- open", "<a b=></a>", "&",
          "<ossec_config><alerts><notify></alerts></notify></ossec_config>"}) {
        EXPECT_EQ(halvex::notifyValuesIn(xml), std::nullopt) << xml;
        EXPECT_EQ(changed(xml), "(nothing)") << xml;
    }
    EXPECT_EQ(halvex::notifyValuesIn(documentWith("") + "<open>"), std::nullopt);
}

TEST(NotifyXml, NewValuesReplaceTheOldOnes)
{
    EXPECT_EQ(changed(documentWith("<notify_disabled>x</notify_disabled>"
                                   "<notify_timeout>y</notify_timeout>"
                                   "<notify_fold>z</notify_fold>")),
              "<ossec_config>\n"
              "<alerts>\n"
              "<notify>\n"
              "<notify_disabled>1</notify_disabled>\n"
              "<notify_timeout>2</notify_timeout>\n"
              "<notify_fold>3</notify_fold>\n"
              "</notify>\n"
              "</alerts>\n"
              "</ossec_config>\n");
}

TEST(NotifyXml, MissingElementsAreAppendedInTheirOrder)
{
    EXPECT_EQ(changed(documentWith("<notify_timeout>y</notify_timeout><other/>")),
              "<ossec_config>\n"
              "<alerts>\n"
              "<notify>\n"
              "<notify_timeout>2</notify_timeout>\n"
              "<other />\n"
              "<notify_disabled>1</notify_disabled>\n"
              "<notify_fold>3</notify_fold>\n"
              "</notify>\n"
              "</alerts>\n"
              "</ossec_config>\n");
}

TEST(NotifyXml, CommentsDeclarationsAndLayoutAreLostButTheRestIsKept)
{
    EXPECT_EQ(changed("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<!DOCTYPE ossec_config>\n"
                      "<!-- the engine's file -->\n"
                      "<?engine fast?>\n"
                      "<ossec_config>\n"
                      "    <global name='a' size=\"2\">\n"
                      "        <email>x &amp; y</email>\n"
                      "    </global>\n"
                      "    <alerts level=\"3\">\n"
                      "        <notify mode=\"all\">\n"
                      "            <!-- one day --><notify_disabled>0</notify_disabled>\n"
                      "            <notify_timeout unit=\"s\"/>\n"
                      "            <notify_fold><b/></notify_fold>\n"
                      "        </notify>\n"
                      "    </alerts>\n"
                      "</ossec_config>\n"
                      "\n"
                      "<ossec_config><alerts><notify>later</notify></alerts></ossec_config>"),
              "<ossec_config>\n"
              "<global name=\"a\" size=\"2\">\n"
              "<email>x &amp; y</email>\n"
              "</global>\n"
              "<alerts level=\"3\">\n"
              "<notify mode=\"all\">\n"
              "<notify_disabled>1</notify_disabled>\n"
              "<notify_timeout unit=\"s\">2</notify_timeout>\n"
              "<notify_fold>\n"
              "<b />3</notify_fold>\n"
              "</notify>\n"
              "</alerts>\n"
              "</ossec_config>\n"
              "<ossec_config>\n"
              "<alerts>\n"
              "<notify>later</notify>\n"
              "</alerts>\n"
              "</ossec_config>\n");
}

TEST(NotifyXml, OnlyTheFirstTextOfAnElementIsReplaced)
{
    EXPECT_EQ(changed(documentWith("<notify_disabled>a<b/>c</notify_disabled>"
                                   "<notify_timeout><![CDATA[y]]></notify_timeout>"
                                   "<notify_fold>z</notify_fold><notify_fold>z</notify_fold>")),
              "<ossec_config>\n"
              "<alerts>\n"
              "<notify>\n"
              "<notify_disabled>1<b />c</notify_disabled>\n"
              "<notify_timeout><![CDATA[2]]></notify_timeout>\n"
              "<notify_fold>3</notify_fold>\n"
              "<notify_fold>z</notify_fold>\n"
              "</notify>\n"
              "</alerts>\n"
              "</ossec_config>\n");
}

TEST(NotifyXml, MarkupInAValueIsEscapedAndReadBackUnchanged)
{
    const NotifyValues values{"<a b=\"c\">&amp;</a>", " ]]> zw\xc3\xb6lf ", "\x01\ttab"};
    const auto xml = halvex::withNotifyValues(documentWith(""), values);
    ASSERT_TRUE(xml);
    EXPECT_EQ(*xml, "<ossec_config>\n"
                    "<alerts>\n"
                    "<notify>\n"
                    "<notify_disabled>&lt;a b=\"c\"&gt;&amp;amp;&lt;/a&gt;</notify_disabled>\n"
                    "<notify_timeout> ]]&gt; zw\xc3\xb6lf </notify_timeout>\n"
                    "<notify_fold>&#01;\ttab</notify_fold>\n"
                    "</notify>\n"
                    "</alerts>\n"
                    "</ossec_config>\n");
    EXPECT_EQ(halvex::notifyValuesIn(*xml), values);
}

TEST(NotifyXml, WritingTheSameValuesAgainChangesNothing)
{
    const QByteArray once = changed(documentWith("<other>a<b/>c</other>"));
    EXPECT_EQ(changed(once), once);
}

TEST(NotifyXml, AHundredThousandNestedElementsAreReadAndWritten)
{
    constexpr int depth = 100000;
    const QByteArray nested =
        QByteArray("<a>").repeated(depth) + "x" + QByteArray("</a>").repeated(depth);
    EXPECT_EQ(halvex::notifyValuesIn(documentWith(nested)), NotifyValues());
    EXPECT_EQ(changed(documentWith(nested)),
              "<ossec_config>\n<alerts>\n<notify>\n" + QByteArray("<a>\n").repeated(depth - 1) +
                  "<a>x</a>\n" + QByteArray("</a>\n").repeated(depth - 1) +
                  "<notify_disabled>1</notify_disabled>\n"
                  "<notify_timeout>2</notify_timeout>\n"
                  "<notify_fold>3</notify_fold>\n"
                  "</notify>\n</alerts>\n</ossec_config>\n");
    EXPECT_EQ(halvex::notifyValuesIn(QByteArray("<a>").repeated(depth)), std::nullopt);
}

} // namespace
