// SPDX-License-Identifier: MIT
//
// Lets the fuzzed code say nothing: its messages would take longer than its work.
#include <QLoggingCategory>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);

int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    QLoggingCategory::setFilterRules("default=false");
    return 0;
}
