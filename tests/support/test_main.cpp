// SPDX-License-Identifier: MIT
//
// The main function of every test program. The tests write to fixed paths of the host as root, so
// it runs them only as process 1 of a throwaway host: started anywhere else, the program starts
// itself again inside one.
#include <QCoreApplication>

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

bool isProcessOneOfThrowawayHost()
{
    char name[64] = {};
    return getpid() == 1 && gethostname(name, sizeof name - 1) == 0 &&
           std::string_view(name) == "throwaway-host";
}

bool onlyListsTests(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]).rfind("--gtest_list_tests", 0) == 0) {
            return true;
        }
    }
    return false;
}

int startInThrowawayHost(char **argv)
{
    char self[4096] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) <= 0) {
        std::perror("/proc/self/exe");
        return 125;
    }
    char host[] = THROWAWAY_HOST;
    char separator[] = "--";
    std::vector<char *> command{host, separator, self};
    for (char **argument = argv + 1; *argument != nullptr; ++argument) {
        command.push_back(*argument);
    }
    command.push_back(nullptr);
    execv(host, command.data());
    std::perror(host);
    return 125;
}

} // namespace

int main(int argc, char **argv)
{
    if (!isProcessOneOfThrowawayHost() && !onlyListsTests(argc, argv)) {
        return startInThrowawayHost(argv);
    }
    const QCoreApplication application(argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
