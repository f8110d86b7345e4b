// SPDX-License-Identifier: MIT
//
// Preloaded into the daemon by a test: prints to standard error what getenv() finds when the
// application object is made, and again after the process has run its last exit handler.
#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

namespace {

const char *valueOf(const char *name)
{
    const char *value = std::getenv(name);
    return value == nullptr ? "(none)" : value;
}

void tell(const char *when)
{
    static_cast<void>(
        std::fprintf(stderr, "%s: PATH=%s LC_ALL=%s\n", when, valueOf("PATH"), valueOf("LC_ALL")));
}

void tellAtStart()
{
    tell("at start");
}

// A preloaded library's destructors run after the exit handlers of the program's own objects.
__attribute__((destructor)) void tellAtEnd()
{
    tell("at end");
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(tellAtStart)
