// SPDX-License-Identifier: MIT
#include "security/process_environment.h"

#include "security/path_environment.h"

#include <QByteArray>

#include <array>
#include <cstdlib>
#include <unistd.h>

namespace halvex {
namespace {

/// Drops all PATH entries but the last. Shells and QProcessEnvironment use the last; getenv() uses
/// the first.
void keepLastPath()
{
    constexpr unsigned prefixLength = 5;
    QByteArray value;
    int count = 0;
    for (char **entry = environ; *entry != nullptr; ++entry) {
        if (qstrncmp(*entry, "PATH=", prefixLength) == 0) {
            value = *entry + prefixLength;
            ++count;
        }
    }
    if (count > 1) {
        qunsetenv("PATH");
        qputenv("PATH", value);
    }
}

} // namespace

void makeEnvironmentSafe()
{
    keepLastPath();
    if (checkPathEnvironment()) {
        qputenv("PATH", "/usr/bin:/bin:/usr/sbin:/sbin");
    }
    // putenv() replaces only the first entry, so remove all entries first. putenv() stores the
    // pointer, not a copy. Exit handlers still read the environment, so the text must never be
    // freed.
    static std::array<char, 19> locale{"LC_ALL=en_US.UTF-8"};
    qunsetenv("LC_ALL");
    putenv(locale.data());
}

} // namespace halvex
