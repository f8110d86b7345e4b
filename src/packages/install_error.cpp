// SPDX-License-Identifier: MIT
#include "packages/install_error.h"

#include <QMap>
#include <QObject>

namespace halvex {

QString describeInstallError(const QString &code)
{
    static const QMap<QString, QString> installErrorTable{
        {"#0200", QObject::tr("The package operation is abnormal")},
        {"#0202", QObject::tr("Unable to delete system critical packages")},
        {"#0203", QObject::tr("The network connection is abnormal")},
        {"#0204", QObject::tr("Insufficient disk space")},
        {"#0208", QObject::tr("The device is running low on battery")},
        {"#0209", QObject::tr("The package does not exist")},
        {"#0219", QObject::tr("Dependencies are not satisfied")},
    };
    return installErrorTable.value(code, QObject::tr("Unknown error"));
}

} // namespace halvex
