// SPDX-License-Identifier: MIT
//
// The main function of the tests that need a throwaway host. These tests write to fixed paths of
// the host as root, so they run only on a throwaway host named HOST_NAME. If the program is started
// anywhere else, it starts itself again on such a host, by HOST_SCRIPT.
#include <QCoreApplication>

#include <gmock/gmock.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

bool isOnThrowawayHost()
{
    std::array<char, 64> name{};
    const bool hasItsName = gethostname(name.data(), name.size() - 1) == 0 &&
                            std::string_view(name.data()) == HOST_NAME;
    // A real host may have that name, but it does not run a test as process 1 or have /booted-host.
    return hasItsName && (getpid() == 1 || access("/booted-host", F_OK) == 0);
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

int startOnThrowawayHost(char **argv)
{
    std::array<char, PATH_MAX> self{};
    if (readlink("/proc/self/exe", self.data(), self.size() - 1) <= 0) {
        std::perror("/proc/self/exe");
        return 125;
    }
    std::string host = HOST_SCRIPT;
    std::string separator = "--";
    std::vector<char *> command{host.data()};
    // The directory to which a build with coverage counters writes them.
    std::string share = "--share";
    if (char *counters = std::getenv("GCOV_PREFIX")) {
        command.insert(command.end(), {share.data(), counters});
    }
    command.insert(command.end(), {separator.data(), self.data()});
    for (char **argument = argv + 1; *argument != nullptr; ++argument) {
        command.push_back(*argument);
    }
    command.push_back(nullptr);
    execv(host.c_str(), command.data());
    std::perror(host.c_str());
    return 125;
}

} // namespace

int main(int argc, char **argv)
{
    if (!isOnThrowawayHost() && !onlyListsTests(argc, argv)) {
        return startOnThrowawayHost(argv);
    }
    const QCoreApplication application(argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
