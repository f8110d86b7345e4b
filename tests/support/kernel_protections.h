// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

/// Changes the kernel's protections of shared directories (/proc/sys/fs/protected_*), and gives
/// them back their values at its end of life.
///
/// The kernel is the real machine's and every process on it sees the change: for machines that are
/// there to be tested on, and for tests beside which no other runs.
class KernelProtections
{
public:
    KernelProtections();
    ~KernelProtections();
    KernelProtections(const KernelProtections &) = delete;
    KernelProtections &operator=(const KernelProtections &) = delete;

    /// Sets the one called @p name, such as "protected_regular".
    void set(const QString &name, int value) const;

private:
    QMap<QString, QByteArray> before;
};
