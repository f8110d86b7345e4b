// SPDX-License-Identifier: MIT
#pragma once

#include <QSet>
#include <QString>
#include <QStringList>

namespace halvex {

/// Those of @p names, as they came, that are not in @p allowed even without white space around
/// them.
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
