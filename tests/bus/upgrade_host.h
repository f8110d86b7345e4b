// SPDX-License-Identifier: MIT
//
// A throwaway host with the daemon and the upgrade service's stand-in.
#pragma once

#include "support/daemon_host.h"

#include <QProcess>
#include <QStringList>
#include <QVariant>

/// Base of tests of the daemon with the upgrade service. startUpgradeService() starts the stand-in.
/// Before that, the service's name has no owner.
class UpgradeHost : public DaemonHost
{
protected:
    void SetUp() override;
    void TearDown() override;

    void startUpgradeService(const QStringList &arguments = {});
    void stopUpgradeService();

    /// Calls a control method of the stand-in, and returns its first value, if any.
    static QVariant order(const char *member, const QVariantList &arguments = {});

    static void replyWith(const QVariantList &values) { order("replyWith", {QVariant(values)}); }

    /// The daemon's messages since its start.
    static QStringList messagesOfTheCall();

    QProcess upgradeService;
};
