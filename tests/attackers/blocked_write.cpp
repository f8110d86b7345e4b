// SPDX-License-Identifier: MIT
//
// Holds a file's lock: writes to it from memory that cannot be read.
//
//   blocked-write FILE HANGING-FILE
//       HANGING-FILE is one of hanging-file's. Goes on until that one ends.
#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

int main(int argc, char **argv)
{
    if (argc != 3) {
        return 2;
    }
    constexpr std::size_t bytes = 4096;
    const int hanging = open(argv[2], O_RDONLY | O_CLOEXEC);
    const int file = open(argv[1], O_WRONLY | O_CLOEXEC);
    const void *memory = mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, hanging, 0);
    if (file < 0 || memory == MAP_FAILED) {
        std::perror("blocked-write");
        return 2;
    }
    return write(file, memory, bytes) < 0 ? 1 : 0;
}
