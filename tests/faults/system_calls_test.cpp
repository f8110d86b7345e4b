// SPDX-License-Identifier: MIT
//
// Makes each system call of the daemon fail once with each error that the kernel documents for it.
//
// The variable HALVEX_FAULTS chooses the faults: a fixed sample if it is not set, all of them if it
// is "all", and otherwise the fault of that name, as a finding prints it.
#include "faults/fault_run.h"

#include <cstdio>

namespace {

class SystemCalls : public FaultRun, public testing::WithParamInterface<Scenario>
{
protected:
    /// An even sample of @p faults, and those for which the daemon once accepted a caller wrongly
    /// or stopped.
    static QList<Fault> sampleOf(const QList<Fault> &faults)
    {
        constexpr int sampleSize = 24;
        const int step = qMax(1, faults.size() / sampleSize);
        QList<Fault> sample;
        for (int i = 0; i < faults.size(); ++i) {
            const bool isOfEnvironment =
                faults[i].sample.contains("/environ>") && faults[i].error == "EIO";
            const bool isOfExecutable =
                faults[i].sample.contains("/exe\"") && faults[i].error == "ENOMEM";
            const bool isWait = faults[i].call == "wait4" || faults[i].call == "waitid";
            if (i % step == 0 || isOfEnvironment || isOfExecutable ||
                (isWait && faults[i].error == "EINTR")) {
                sample << faults[i];
            }
        }
        return sample;
    }

    QList<Fault> chosenFaults()
    {
        const QList<Fault> faults = faultsOf(GetParam());
        const QString choice = qEnvironmentVariable("HALVEX_FAULTS");
        if (choice == "all") {
            return faults;
        }
        if (choice.isEmpty()) {
            return sampleOf(faults);
        }
        isVerbose = true;
        QList<Fault> chosen;
        for (const Fault &fault : faults) {
            if (fault.id() == choice) {
                chosen << fault;
            }
        }
        return chosen;
    }
};

TEST_P(SystemCalls, EachMayFailAndTheNextCallIsServed)
{
    const QList<Fault> faults = chosenFaults();
    ASSERT_FALSE(faults.isEmpty());
    const bool isSample = !qEnvironmentVariableIsSet("HALVEX_FAULTS");
    for (const Fault &fault : faults) {
        tryFault(GetParam(), fault);
        if (isSample && numbers.slow > 0 && numbers.findings > 0) {
            break; // each daemon that hangs takes more than half a minute
        }
    }
    std::printf("TRIED %s: %d faults, %d not reached, %d slow, %d findings\n",
                qPrintable(GetParam().name), numbers.faults, numbers.notReached, numbers.slow,
                numbers.findings);
    EXPECT_LE(numbers.notReached, numbers.faults / 4) << "too few faults were reached";
}

INSTANTIATE_TEST_SUITE_P(, SystemCalls, testing::ValuesIn(scenarios()),
                         [](const testing::TestParamInfo<Scenario> &each) {
                             return each.param.name.toStdString();
                         });

} // namespace
