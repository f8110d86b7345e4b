// SPDX-License-Identifier: MIT
#include "dbus/bus_watch.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>

#include <chrono>
#include <utility>

namespace halvex {
namespace {

constexpr qint64 answerTimeoutMs = 5000;
/// A daemon that was stopped for a while finds its ping overdue, although the answer has arrived.
constexpr int minChecks = 3;

} // namespace

BusWatch::Call::Call(BusWatch &busWatch) noexcept : watch(busWatch)
{
    ++watch.callDepth;
    duration.start();
}

BusWatch::Call::~Call()
{
    --watch.callDepth;
    // A call within a call is part of the other's time.
    if (isLetIn && watch.callDepth == 0) {
        watch.servedMs += duration.elapsed();
    }
}

BusWatch::BusWatch(QDBusConnection bus) : connection(std::move(bus))
{
    tick.setInterval(std::chrono::seconds(1));
    // The library itself says so when the connection is lost. No other event would come any more.
    connection.connect({}, "/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local",
                       "Disconnected", &tick, SLOT(start()));
}

bool BusWatch::hearsTheBus()
{
    if (callDepth > 0) {
        return true;
    }
    if (!connection.isConnected()) {
        return false;
    }
    if (!sincePing.isValid()) {
        ping();
        return true;
    }
    ++checks;
    return checks < minChecks || sincePing.elapsed() - servedMs <= answerTimeoutMs;
}

void BusWatch::ping()
{
    sincePing.start();
    servedMs = 0;
    checks = 0;
    tick.start();
    constexpr int noTimeout = 0x7fffffff;
    const auto *answer = new QDBusPendingCallWatcher(
        connection.asyncCall(QDBusMessage::createMethodCall("org.freedesktop.DBus",
                                                            "/org/freedesktop/DBus",
                                                            "org.freedesktop.DBus", "GetId"),
                             noTimeout),
        this);
    connect(answer, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                if (!finished->isError()) {
                    sincePing.invalidate();
                    tick.stop();
                }
            });
}

} // namespace halvex
