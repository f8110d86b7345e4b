// SPDX-License-Identifier: MIT
//
// A throwaway host with the daemon and the upgrade service's stand-in.
#pragma once

#include "support/daemon_host.h"

#include <QProcess>
#include <QStringList>
#include <QVariant>

/// Base of every test that needs the upgrade service. The stand-in runs from startUpgradeService()
/// on; until then, nobody owns the service's name.
class UpgradeHost : public DaemonHost
{
protected:
    void SetUp() override;
    void TearDown() override;

    void startUpgradeService(const QStringList &arguments = {});
    void stopUpgradeService();

    /// Gives the stand-in an order, and returns its answer if it gives one.
    static QVariant order(const char *member, const QVariantList &arguments = {});

    static void replyWith(const QVariantList &values) { order("replyWith", {QVariant(values)}); }

    /// The messages since the daemon's start.
    static QStringList messagesOfTheCall();

    QProcess upgradeService;
};
