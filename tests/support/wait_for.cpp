// SPDX-License-Identifier: MIT
#include "support/wait_for.h"

#include <QElapsedTimer>
#include <QThread>

bool waitFor(const std::function<bool()> &condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > patienceMs) {
            return false;
        }
        QThread::msleep(2);
    }
    return true;
}
