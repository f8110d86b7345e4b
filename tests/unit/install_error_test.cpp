// SPDX-License-Identifier: MIT
#include "packages/install_error.h"
#include "support/printing.h"

#include <QCoreApplication>
#include <QTranslator>

#include <gtest/gtest.h>

namespace {

TEST(InstallError, EachKnownCodeHasItsDescription)
{
    EXPECT_EQ(halvex::describeInstallError("#0200"), "The package operation is abnormal");
    EXPECT_EQ(halvex::describeInstallError("#0202"), "Unable to delete system critical packages");
    EXPECT_EQ(halvex::describeInstallError("#0203"), "The network connection is abnormal");
    EXPECT_EQ(halvex::describeInstallError("#0204"), "Insufficient disk space");
    EXPECT_EQ(halvex::describeInstallError("#0208"), "The device is running low on battery");
    EXPECT_EQ(halvex::describeInstallError("#0209"), "The package does not exist");
    EXPECT_EQ(halvex::describeInstallError("#0219"), "Dependencies are not satisfied");
}

TEST(InstallError, AnyOtherCodeIsAnUnknownError)
{
    for (const char *code : {"", "#0201", "0204", "#0204 ", " #0204", "#204", "#", "Unknown"}) {
        EXPECT_EQ(halvex::describeInstallError(code), "Unknown error") << code;
    }
}

/// Translates each text to its context and the text in capitals.
class ShoutingTranslator : public QTranslator
{
public:
    [[nodiscard]] bool isEmpty() const override { return false; }
    QString translate(const char *context, const char *text, const char * /*disambiguation*/,
                      int /*number*/) const override
    {
        return QString("%1: %2").arg(context, QString(text).toUpper());
    }
};

TEST(InstallError, DescriptionsAreTranslatedInTheContextQObject)
{
    ShoutingTranslator translator;
    ASSERT_TRUE(QCoreApplication::installTranslator(&translator));
    EXPECT_EQ(halvex::describeInstallError("#0204"), "QObject: INSUFFICIENT DISK SPACE");
    EXPECT_EQ(halvex::describeInstallError("#9999"), "QObject: UNKNOWN ERROR");
}

TEST(InstallError, ATranslationIsUsedAsLongAsTheTranslatorIsInstalled)
{
    EXPECT_EQ(halvex::describeInstallError("#0209"), "The package does not exist");
    {
        ShoutingTranslator translator;
        ASSERT_TRUE(QCoreApplication::installTranslator(&translator));
        EXPECT_EQ(halvex::describeInstallError("#0209"), "QObject: THE PACKAGE DOES NOT EXIST");
    }
    EXPECT_EQ(halvex::describeInstallError("#0209"), "The package does not exist");
}

} // namespace
