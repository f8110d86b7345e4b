// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>

#include <mutex>
#include <thread>

/// Takes the place of the host's system logger at /dev/log for as long as it lives.
///
/// A thread reads it all the time, as a logger does: the socket holds only a few lines, and a
/// program that logs waits when it is full.
class SystemLog
{
public:
    SystemLog();
    ~SystemLog();
    SystemLog(const SystemLog &) = delete;
    SystemLog &operator=(const SystemLog &) = delete;

    /// Every line since the last call, without its time stamp: "<14>program: text".
    [[nodiscard]] QStringList takeLines();

    /// Keeps it from reading for as long as the result lives.
    [[nodiscard]] std::unique_lock<std::mutex> stopReading() { return std::unique_lock(mutex); }

private:
    void readUntilStopped();
    void readWhatIsThere();

    int socket;
    int stop;
    std::mutex mutex; ///< guards the reading of the socket and the lines
    QStringList lines;
    std::thread reader;
};
