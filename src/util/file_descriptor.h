// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>
#include <utility>

namespace halvex {

/// Owns a file descriptor. The destructor closes it.
class FileDescriptor
{
public:
    FileDescriptor() noexcept = default;

    /// Takes the result of open(), which may be -1, and leaves errno unchanged.
    explicit FileDescriptor(int descriptor) noexcept : number(descriptor) {}

    FileDescriptor(FileDescriptor &&other) noexcept : number(std::exchange(other.number, -1)) {}

    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(number, other.number);
        return *this;
    }

    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;

    ~FileDescriptor()
    {
        if (isOpen()) {
            close(number);
        }
    }

    [[nodiscard]] bool isOpen() const noexcept { return number >= 0; }
    [[nodiscard]] int get() const noexcept { return number; }

private:
    int number = -1;
};

} // namespace halvex
