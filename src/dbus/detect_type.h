// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>

class QDBusArgument;

/// Selects an AI engine. On the bus, this is a structure of one signed 32-bit integer, "(i)".
struct DetectType
{
    int type = 0;
};
Q_DECLARE_METATYPE(DetectType)

QDBusArgument &operator<<(QDBusArgument &argument, const DetectType &detectType);
const QDBusArgument &operator>>(const QDBusArgument &argument, DetectType &detectType);

namespace halvex {

/// Registers DetectType, under this name, as a meta-type of Qt and as a type for the bus. Must be
/// called before the first object that uses the type is put on the bus.
void registerDetectType();

} // namespace halvex
