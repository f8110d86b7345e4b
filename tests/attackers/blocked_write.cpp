// SPDX-License-Identifier: MIT
//
// Holds a file's lock: blocks in a write to the file, because the data to write never arrives.
//
//   blocked-write FILE HANGING-FILE
//       HANGING-FILE has the data; the program hanging-file serves it. The write blocks until that
//       program exits.
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
