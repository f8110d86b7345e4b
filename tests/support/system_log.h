// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>

#include <mutex>
#include <thread>

/// Stands in for the host's system logger at /dev/log during its lifetime.
///
/// A thread reads the socket all the time, as a logger does. The socket holds only a few lines, and
/// a program that logs is blocked while it is full.
class SystemLog
{
public:
    SystemLog();
    ~SystemLog();
    SystemLog(const SystemLog &) = delete;
    SystemLog &operator=(const SystemLog &) = delete;

    /// Every line since the last call, without its time stamp: "<14>program: text".
    [[nodiscard]] QStringList takeLines();

    /// Stops the reading thread until the returned lock is released.
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
