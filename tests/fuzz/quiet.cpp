// SPDX-License-Identifier: MIT
//
// Suppresses the log messages of the fuzzed code: writing them would take longer than running it.
#include <QLoggingCategory>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);

int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    QLoggingCategory::setFilterRules("default=false");
    return 0;
}
