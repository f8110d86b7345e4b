// SPDX-License-Identifier: MIT
#pragma once

#include "support/printing.h"

#include <QStringList>

/// Collects the Qt messages of this process during its lifetime. Only one may exist at a time.
///
/// Each message is kept as its level, a colon, a blank and its text: "warning: Empty service name".
/// A category other than the default one follows the level: "warning of other: …".
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
