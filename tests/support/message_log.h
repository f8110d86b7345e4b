// SPDX-License-Identifier: MIT
#pragma once

#include "support/printing.h"

#include <QStringList>

/// Collects the Qt messages of this process for as long as it lives; one at a time.
///
/// Each is kept as its level, a colon, a blank and its text: "warning: Empty service name". One of
/// another category than the default one names it behind the level: "warning of other: …".
class MessageLog
{
public:
    MessageLog();
    ~MessageLog();
    MessageLog(const MessageLog &) = delete;
    MessageLog &operator=(const MessageLog &) = delete;

    /// The messages so far, in order.
    [[nodiscard]] QStringList messages() const;
};
