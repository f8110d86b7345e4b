// SPDX-License-Identifier: MIT
#pragma once

#include <QSet>
#include <QString>
#include <QStringList>

namespace halvex {

/// Returns the @p names that are not in @p allowed, unchanged. The comparison ignores white space
/// around a name.
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
