// SPDX-License-Identifier: MIT
#include "fuzz/fuzz_target.h"
#include "util/host_edition.h"

#include <QFile>

namespace {

void write(const char *path, const QByteArray &content)
{
    QFile file(path);
    fuzz::requireThat(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
                      "a file of the host can be written");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayList parts = fuzz::partsOf(data, size, 2);
    write("/etc/os-release", parts[0]);
    write("/etc/norva-build", parts[1]);
    fuzz::requireThat(halvex::detectServerEdition() == parts[0].toLower().contains("server"),
                      "a server edition contains \"server\"");
    int id = -1;
    fuzz::requireThat(halvex::readReleaseId(id) || id == 0, "an unreadable release id is 0");
    fuzz::requireThat(id >= 0, "a release id is not negative");
    halvex::classifyHostGeneration();
    fuzz::requireThat(halvex::hostGeneration >= 0 && halvex::hostGeneration <= 6,
                      "the generation is between 0 and 6");
    return 0;
}
