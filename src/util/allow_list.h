// SPDX-License-Identifier: MIT
#pragma once

#include <QSet>
#include <QString>
#include <QStringList>

namespace halvex {

/// Returns those of @p names that are not in @p allowed. White space around a name is kept, but is
/// ignored in the comparison.
[[nodiscard]] inline QStringList namesNotIn(const QSet<QString> &allowed, const QStringList &names)
{
    QStringList others;
    for (const QString &name : names) {
        if (!allowed.contains(name.trimmed())) {
            others << name;
        }
    }
    return others;
}

} // namespace halvex
