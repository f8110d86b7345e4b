// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

/// Changes the kernel's protections of shared directories (/proc/sys/fs/protected_*), and restores
/// their values when it is destroyed.
///
/// A throwaway host shares the machine's kernel, so every process on the machine sees the change.
/// Use it only on machines made for testing, and only in tests that run alone.
class KernelProtections
{
public:
    KernelProtections();
    ~KernelProtections();
    KernelProtections(const KernelProtections &) = delete;
    KernelProtections &operator=(const KernelProtections &) = delete;

    /// Sets the protection called @p name, such as "protected_regular".
    void set(const QString &name, int value) const;

private:
    QMap<QString, QByteArray> before;
};
