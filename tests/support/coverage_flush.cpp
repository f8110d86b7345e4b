// SPDX-License-Identifier: MIT
//
// Part of the daemon in a build with counters only: writes them down when the daemon is ended by
// SIGTERM, which it otherwise does not handle.
#include <csignal>
#include <unistd.h>

// The compiler's own name. NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" void __gcov_dump();

namespace {

void writeCounters(int /*signal*/)
{
    __gcov_dump();
    _exit(0);
}

[[maybe_unused]] const auto previous = std::signal(SIGTERM, writeCounters);

} // namespace
