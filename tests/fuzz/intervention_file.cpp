// SPDX-License-Identifier: MIT
#include "config/intervention_text.h"
#include "fuzz/fuzz_target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayList parts = fuzz::partsOf(data, size, 4);
    const QString action = QString::fromUtf8(parts[0]);
    const QString field = QString::fromUtf8(parts[1]);
    const QByteArray value = halvex::quoteValueWords(parts[2]);
    QByteArray content = parts[3];
    if (action.isEmpty() || field.isEmpty()) {
        return 0;
    }
    fuzz::requireThat(!halvex::fieldValueIn(content, action, field).contains('"'),
                      "a value has no quotes");
    const auto start = halvex::fieldSearchStart(content, action);
    if (!start) {
        return 0;
    }
    fuzz::requireThat(*start >= 0 && *start <= content.size(), "the search starts inside the file");
    const auto span = halvex::findFieldValue(content, field, *start);
    if (!span) {
        return 0;
    }
    fuzz::requireThat(
        span->start >= *start && span->start <= span->end && span->end < content.size() &&
            content[span->end] == '\n',
        "the value begins at or after the search's start, and ends before a line feed");
    fuzz::requireThat(!content.mid(span->start, span->end - span->start).contains('\n'),
                      "the value contains no line feed");
    content.replace(span->start, span->end - span->start, value);
    fuzz::requireThat(content.mid(span->start, value.size()) == value,
                      "the new value replaces the old");
    return 0;
}
