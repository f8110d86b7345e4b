// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>

/// Takes the place of the host's system logger at /dev/log for as long as it lives.
class SystemLog
{
public:
    SystemLog();
    ~SystemLog();
    SystemLog(const SystemLog &) = delete;
    SystemLog &operator=(const SystemLog &) = delete;

    /// Every line since the last call, without its time stamp: "<14>program: text".
    [[nodiscard]] QStringList takeLines();

private:
    int socket = -1;
};
