// SPDX-License-Identifier: MIT
#include "packages/install_error.h"

#include <QMap>
#include <QObject>

namespace halvex {

QString describeInstallError(const QString &code)
{
    // Translate only at the look-up: a table of translated texts would keep its first language.
    static const QMap<QString, const char *> installErrorTable{
        {"#0200", QT_TRANSLATE_NOOP("QObject", "The package operation is abnormal")},
        {"#0202", QT_TRANSLATE_NOOP("QObject", "Unable to delete system critical packages")},
        {"#0203", QT_TRANSLATE_NOOP("QObject", "The network connection is abnormal")},
        {"#0204", QT_TRANSLATE_NOOP("QObject", "Insufficient disk space")},
        {"#0208", QT_TRANSLATE_NOOP("QObject", "The device is running low on battery")},
        {"#0209", QT_TRANSLATE_NOOP("QObject", "The package does not exist")},
        {"#0219", QT_TRANSLATE_NOOP("QObject", "Dependencies are not satisfied")},
    };
    return QObject::tr(
        installErrorTable.value(code, QT_TRANSLATE_NOOP("QObject", "Unknown error")));
}

} // namespace halvex
