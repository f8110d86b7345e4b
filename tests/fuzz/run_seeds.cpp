// SPDX-License-Identifier: MIT
//
// Runs a fuzz target once over each input in the given directories: the seeds, and the inputs that
// fuzzing has found.
#include "fuzz/fuzz_target.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>

int main(int argc, char **argv)
{
    QLoggingCategory::setFilterRules("default=false");
    int runs = 0;
    for (int i = 1; i < argc; ++i) {
        const QDir directory(argv[i]);
        for (const QString &name : directory.entryList(QDir::Files)) {
            QFile file(directory.filePath(name));
            if (!file.open(QIODevice::ReadOnly)) {
                return 1;
            }
            const QByteArray input = file.readAll();
            std::printf("%s\n", qPrintable(name));
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.constData()),
                                   static_cast<std::size_t>(input.size()));
            ++runs;
        }
    }
    return runs > 0 ? 0 : 1;
}
