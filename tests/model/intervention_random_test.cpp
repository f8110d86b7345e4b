// SPDX-License-Identifier: MIT
//
// Makes tens of thousands of random calls that get or set intervention settings, and compares each
// with the model. Every run makes the same calls, unless the environment says otherwise:
//   HALVEX_TEST_SEED=7 HALVEX_TEST_CASES=1000000 build/release/tests/model-tests
#include "config/intervention_settings.h"
#include "config/intervention_text.h"
#include "model/intervention_cases.h"
#include "model/intervention_model.h"
#include "support/host_files.h"
#include "support/process_resources.h"

#include <QFile>
#include <QTextCodec>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <iostream>
#include <map>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

namespace {

const QString configPath = "/tmp/intervention.conf";
const QString blockTimePath = "/tmp/.block_time";

#ifdef __SANITIZE_ADDRESS__
constexpr std::uint64_t usualCases = 10000;
#else
constexpr std::uint64_t usualCases = 40000;
#endif

std::uint64_t fromEnvironment(const char *name, std::uint64_t otherwise)
{
    if (!qEnvironmentVariableIsSet(name)) {
        return otherwise;
    }
    bool isNumber = false;
    const std::uint64_t number = qEnvironmentVariable(name).toULongLong(&isNumber);
    EXPECT_TRUE(isNumber) << name << " is not a number";
    return number;
}

// --- a call that should return and does not ---

const char *currentCase = nullptr;
std::size_t currentCaseSize = 0;

extern "C" void reportEndlessCall(int /*signal*/)
{
    const char text[] = "This call does not return:\n";
    static_cast<void>(write(STDERR_FILENO, text, sizeof text - 1));
    static_cast<void>(write(STDERR_FILENO, currentCase, currentCaseSize));
    _exit(1);
}

/// Prints @p description and ends the test program if this object lives longer than five minutes.
class EndlessCallWatch
{
public:
    explicit EndlessCallWatch(const std::string &description)
    {
        currentCase = description.data();
        currentCaseSize = description.size();
        alarm(300);
    }
    ~EndlessCallWatch() { alarm(0); }
    EndlessCallWatch(const EndlessCallWatch &) = delete;
    EndlessCallWatch &operator=(const EndlessCallWatch &) = delete;
};

// --- the daemon's code ---

/// The result of a call.
struct Result
{
    int status;
    QString fieldValue;
    model::SettingsFiles files;
};

bool operator==(const Result &left, const Result &right)
{
    return left.status == right.status && left.fieldValue == right.fieldValue &&
           left.files == right.files;
}

std::string described(const Result &result)
{
    return "\n    status        " + std::to_string(result.status) + "\n    value         " +
           escaped(result.fieldValue.toUtf8()) + "\n    intervention  " +
           escaped(result.files.intervention) + "\n    block time    " +
           escaped(result.files.blockTime) + '\n';
}

void putFile(const QString &path, const std::optional<QByteArray> &content, bool writable)
{
    QFile::remove(path);
    if (content) {
        host::writeFile(path, *content);
        if (!writable) {
            host::makeUnwritable(path);
        }
    }
}

std::optional<QByteArray> takeFile(const QString &path, bool writable)
{
    if (!QFile::exists(path)) {
        return std::nullopt;
    }
    QByteArray content = host::readFile(path);
    if (!writable) {
        EXPECT_EQ(umount(QFile::encodeName(path).constData()), 0);
    }
    return content;
}

Result resultOf(const InterventionCase &drawn)
{
    putFile(configPath, drawn.files.intervention, drawn.files.writable);
    putFile(blockTimePath, drawn.files.blockTime, drawn.files.writable);
    QString value = drawn.fieldValue;
    const int status =
        drawn.sets ? halvex::setInterventionConfig(configPath, blockTimePath, drawn.actionName,
                                                   drawn.fieldName, value)
                   : halvex::getInterventionConfig(configPath, blockTimePath, drawn.actionName,
                                                   drawn.fieldName, value);
    const bool writable = drawn.files.writable;
    return {status,
            value,
            {takeFile(configPath, writable), takeFile(blockTimePath, writable), writable}};
}

/// Tells whether a call that sets a field finds the action but no value to replace. Such a call
/// repeats its search for ever, so the test does not make it.
bool searchesForEver(const InterventionCase &drawn)
{
    const QByteArray content = drawn.files.intervention.value_or(QByteArray());
    const std::optional<int> start = halvex::fieldSearchStart(content, drawn.actionName);
    return start && !halvex::findFieldValue(content, drawn.fieldName, *start);
}

model::Prediction predictionOf(const InterventionCase &drawn)
{
    return drawn.sets
               ? model::setInterventionConfig(drawn.files, drawn.actionName, drawn.fieldName,
                                              drawn.fieldValue)
               : model::getInterventionConfig(drawn.files, drawn.actionName, drawn.fieldName);
}

// --- what the cases must cover ---

/// The turns of the model. The random calls must take each of them often.
const char *const everyTurn[] = {
    "empty action or field name",
    "get: no file",
    "get: no header",
    "get: no such field in the section",
    "get: value",
    "get: empty value",
    "get: found inside a longer name",
    "get: equals sign before the field",
    "get: in another action's header line",
    "get: header in a comment",
    "get: skipped a field in a comment",
    "get: skipped a field outside the section",
    "get: blanks cut off",
    "set: no file",
    "set: no header",
    "set: not writable",
    "set: value replaced",
    "set: name longer in bytes than in UTF-16 units",
    "set: counting the name in bytes would find another place",
    "set: behind a comment that begins with the field",
    "set: in a later section",
    "set: next line replaced",
    "set: carriage return lost",
    "set: never returns, no field",
    "set: never returns, no line feed",
    "quoting: empty value",
    "quoting: empty word",
    "quoting: trailing blank",
    "get block time: no file",
    "get block time: no timeout line",
    "get block time: empty value",
    "get block time: no digits",
    "get block time: out of range",
    "get block time: zero",
    "get block time: timeout",
    "set block time: no file",
    "set block time: not writable",
    "set block time: no timeout line",
    "set block time: several timeout lines",
    "set block time: value emptied",
    "set block time: empty value filled",
    "set block time: timeout replaced",
    "set block time: rest of the line dropped",
    "set block time: half of a character cut off",
    "set block time: line left unchanged",
};

TEST(InterventionSettings, RandomCallsDoWhatTheModelSays)
{
    // The block-time file is read with the locale's codec, and the model supports only UTF-8.
    ASSERT_EQ(QTextCodec::codecForLocale()->name(), "UTF-8");
    ASSERT_NE(std::signal(SIGALRM, reportEndlessCall), SIG_ERR);
    const std::uint64_t seed = fromEnvironment("HALVEX_TEST_SEED", 20160423);
    const std::uint64_t cases = fromEnvironment("HALVEX_TEST_CASES", usualCases);
    const int openFilesBefore = openFilesOf(getpid());

    Random random(seed);
    std::map<std::string, std::uint64_t> turns;
    int mismatches = 0;
    for (std::uint64_t number = 0; number < cases && mismatches < 10; ++number) {
        const InterventionCase drawn = randomInterventionCase(random);
        const model::Prediction prediction = predictionOf(drawn);
        for (const std::string &turn : prediction.turns) {
            ++turns[turn];
        }
        const std::string description = "seed " + std::to_string(seed) + ", case " +
                                        std::to_string(number) + ": " + described(drawn);
        if (!prediction.returns) {
            if (!searchesForEver(drawn)) {
                ++mismatches;
                ADD_FAILURE() << description << "  returns, but the model says that it never does";
            }
            continue;
        }
        const EndlessCallWatch watch(description);
        const Result expected{prediction.status, prediction.fieldValue.value_or(drawn.fieldValue),
                              prediction.files};
        const Result result = resultOf(drawn);
        if (!(result == expected)) {
            ++mismatches;
            ADD_FAILURE() << description << "  expected" << described(expected) << "  but got"
                          << described(result);
        }
    }

    EXPECT_EQ(openFilesOf(getpid()), openFilesBefore);
    if (mismatches == 0 && cases >= 10000) {
        for (const char *const turn : everyTurn) {
            EXPECT_GE(turns[turn], cases / 1000) << turn;
        }
    }
    for (const auto &[turn, count] : turns) {
        std::cout << count << " × " << turn << '\n';
    }
}

} // namespace
