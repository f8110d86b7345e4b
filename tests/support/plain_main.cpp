// SPDX-License-Identifier: MIT
//
// The main function of the tests that need no throwaway host. Since any user may run these tests
// anywhere, it first sets the locale and clears the user's Qt message settings.
#include <QCoreApplication>

#include <gmock/gmock.h>

int main(int argc, char **argv)
{
    qputenv("LC_ALL", "C.UTF-8");
    for (const char *name : {"QT_LOGGING_CONF", "QT_LOGGING_RULES", "QT_LOGGING_TO_CONSOLE"}) {
        qunsetenv(name);
    }
    const QCoreApplication application(argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
