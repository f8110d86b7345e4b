// SPDX-License-Identifier: MIT
#include "fuzz/fuzz_target.h"
#include "util/host_edition.h"

#include <QFile>

namespace {

void write(const char *path, const QByteArray &content)
{
    QFile file(path);
    fuzz::requireThat(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
                      "the host's files can be written");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayList parts = fuzz::partsOf(data, size, 2);
    write("/etc/os-release", parts[0]);
    write("/etc/norva-build", parts[1]);
    fuzz::requireThat(halvex::detectServerEdition() == parts[0].toLower().contains("server"),
                      "the word is found");
    int id = -1;
    fuzz::requireThat(halvex::readReleaseId(id) || id == 0, "no id is 0");
    fuzz::requireThat(id >= 0, "an id has no sign");
    halvex::classifyHostGeneration();
    fuzz::requireThat(halvex::hostGeneration >= 0 && halvex::hostGeneration <= 6,
                      "a generation is one of seven");
    return 0;
}
