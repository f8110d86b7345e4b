// SPDX-License-Identifier: MIT
//
// What every fuzz target shares. A target is one function that libFuzzer calls with input after
// input, and that also runs over the seeds in seeds/TARGET in every test run. requireThat() checks
// what must hold; the sanitizers check everything else.
#pragma once

#include <QByteArray>
#include <QByteArrayList>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace fuzz {

/// Splits an input into @p count parts at its first NUL bytes; a part that is missing is empty.
inline QByteArrayList partsOf(const std::uint8_t *data, std::size_t size, int count)
{
    QByteArray rest(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QByteArrayList parts;
    while (parts.size() < count - 1) {
        const int end = rest.indexOf('\0');
        parts << (end < 0 ? rest : rest.left(end));
        rest = end < 0 ? QByteArray() : rest.mid(end + 1);
    }
    return parts << rest;
}

/// Aborts the run, with the message @p what, if @p holds is false.
inline void requireThat(bool holds, const char *what)
{
    if (!holds) {
        static_cast<void>(std::fprintf(stderr, "does not hold: %s\n", what));
        std::abort();
    }
}

} // namespace fuzz
