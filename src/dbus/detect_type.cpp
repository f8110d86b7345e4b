// SPDX-License-Identifier: MIT
#include "dbus/detect_type.h"

#include <QDBusArgument>
#include <QDBusMetaType>

QDBusArgument &operator<<(QDBusArgument &argument, const DetectType &detectType)
{
    argument.beginStructure();
    argument << detectType.type;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, DetectType &detectType)
{
    argument.beginStructure();
    argument >> detectType.type;
    argument.endStructure();
    return argument;
}

void halvex::registerDetectType()
{
    qRegisterMetaType<DetectType>("DetectType");
    qDBusRegisterMetaType<DetectType>();
}
