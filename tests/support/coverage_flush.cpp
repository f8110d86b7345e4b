// SPDX-License-Identifier: MIT
//
// Linked into the daemon only in a build with coverage counters. Writes the counters to disk on
// SIGTERM, and exits. Without this handler, SIGTERM would end the daemon without writing them.
#include <csignal>
#include <unistd.h>

// A name of the compiler's runtime.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" void __gcov_dump();

namespace {

void writeCounters(int /*signal*/)
{
    __gcov_dump();
    _exit(0);
}

[[maybe_unused]] const auto previous = std::signal(SIGTERM, writeCounters);

} // namespace
