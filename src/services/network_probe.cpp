// SPDX-License-Identifier: MIT
#include "services/network_probe.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkInterface>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

#include <algorithm>

namespace halvex {
namespace {

bool isActive(const QNetworkInterface &networkInterface)
{
    const auto flags = networkInterface.flags();
    return networkInterface.isValid() && !networkInterface.hardwareAddress().isEmpty() &&
           flags.testFlag(QNetworkInterface::IsUp) && flags.testFlag(QNetworkInterface::IsRunning);
}

} // namespace

bool hasActiveNetworkInterface()
{
    const auto interfaces = QNetworkInterface::allInterfaces();
    return std::any_of(interfaces.begin(), interfaces.end(), isActive);
}

bool probeInternet()
{
    constexpr int timeLimitMs = 2000;
    QNetworkAccessManager manager;
    const QNetworkReply *reply = manager.get(QNetworkRequest(QUrl(QString(probeAddress))));

    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    bool answeredInTime = false;
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(reply, &QNetworkReply::finished, &loop, [&] {
        // Decide here, not after the loop: a nested probe can delay the end of this loop until the
        // timer has fired as well.
        answeredInTime = timer.isActive();
        timer.stop();
        loop.quit();
    });
    timer.start(timeLimitMs);
    loop.exec();
    return answeredInTime && reply->error() == QNetworkReply::NoError;
}

} // namespace halvex
