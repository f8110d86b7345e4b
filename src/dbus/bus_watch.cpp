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
/// If the daemon was stopped by SIGSTOP, the time-out has passed when it continues, although the
/// answer may have arrived. So one check or one tick is not enough.
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
    // The outer call's time includes the time of a nested call.
    if (isLetIn && watch.callDepth == 0) {
        watch.servedMs += duration.elapsed();
    }
}

BusWatch::BusWatch(QDBusConnection bus) : connection(std::move(bus))
{
    tick.setInterval(std::chrono::seconds(1));
    // The event loop serves all queued messages before a timer. So at a tick, the answer to the
    // ping has not arrived. Such a tick counts even if the time was spent in accepted calls.
    // Otherwise a user could make one accepted call after the other while the bus does not read
    // from the daemon, and the daemon would never ask for a restart.
    QObject::connect(&tick, &QTimer::timeout, this, [this] {
        if (sincePing.isValid() && sincePing.elapsed() > answerTimeoutMs) {
            ++lateTicks;
        }
    });
    // The library emits this local signal when the connection is lost. Perhaps no other event
    // follows. So the timer has to wake the event loop, in which the check runs.
    connection.connect({}, "/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local",
                       "Disconnected", &tick, SLOT(start()));
}

bool BusWatch::check()
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
    return checks < minChecks ||
           (lateTicks < minChecks && sincePing.elapsed() - servedMs <= answerTimeoutMs);
}

void BusWatch::ping()
{
    sincePing.start();
    servedMs = 0;
    checks = 0;
    lateTicks = 0;
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
