// SPDX-License-Identifier: MIT
//
//   duplicate-environment [NAME=VALUE]... -- PROGRAM [ARGUMENT]...
//
// Runs PROGRAM with the given entries, in their order, in front of its own environment. Unlike
// env(1), it keeps several entries of one name.
#include <cstdio>
#include <string_view>
#include <unistd.h>
#include <vector>

int main(int argc, char **argv)
{
    std::vector<char *> environment;
    int next = 1;
    while (next < argc && std::string_view(argv[next]) != "--") {
        environment.push_back(argv[next++]);
    }
    for (char **entry = environ; *entry != nullptr; ++entry) {
        environment.push_back(*entry);
    }
    environment.push_back(nullptr);
    if (next + 1 < argc) {
        execve(argv[next + 1], argv + next + 1, environment.data());
    }
    std::perror("duplicate-environment");
    return 127;
}
