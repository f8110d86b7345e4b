// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>

class QDBusArgument;

/// Selects an AI detection engine; on the bus a structure of one signed 32-bit integer, "(i)".
struct DetectType
{
    int type = 0;
};
Q_DECLARE_METATYPE(DetectType)

QDBusArgument &operator<<(QDBusArgument &argument, const DetectType &detectType);
const QDBusArgument &operator>>(const QDBusArgument &argument, DetectType &detectType);

namespace halvex {

/// Registers DetectType with Qt's meta-types, under that name, and with its bus types. Must be
/// called before the first object that uses it is put on the bus.
void registerDetectType();

} // namespace halvex
