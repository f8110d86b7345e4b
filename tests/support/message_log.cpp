// SPDX-License-Identifier: MIT
#include "support/message_log.h"

#include <QtGlobal>

namespace {

QStringList collected;

QString levelName(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return "debug";
    case QtInfoMsg:
        return "info";
    case QtWarningMsg:
        return "warning";
    case QtCriticalMsg:
        return "critical";
    case QtFatalMsg:
        break;
    }
    return "fatal";
}

void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const QString category = context.category;
    collected << levelName(type) + (category == "default" ? "" : " of " + category) + ": " + text;
}

} // namespace

MessageLog::MessageLog()
{
    collected.clear();
    qInstallMessageHandler(collect);
}

MessageLog::~MessageLog()
{
    qInstallMessageHandler(nullptr);
}

QStringList MessageLog::messages() const
{
    return collected;
}
