// SPDX-License-Identifier: MIT
//
// What reading and changing one intervention setting does, worked out in memory the slow and plain
// way. It shares nothing with the daemon's code, not even the order in which it looks at things,
// and knows beforehand which calls would never return.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace model {

/// The two files as a call finds them or leaves them. One that is not there cannot be opened.
struct SettingsFiles
{
    std::optional<QByteArray> intervention; ///< any bytes
    std::optional<QByteArray> blockTime;    ///< UTF-8, its last 16 KiB not all "\r"
    bool writable = true;                   ///< false: both can be opened for reading only
};

bool operator==(const SettingsFiles &left, const SettingsFiles &right);

/// What a call does.
struct Prediction
{
    bool returns = true; ///< false: never, and nothing else here means anything
    int status = 0;
    std::optional<QString> fieldValue; ///< the out-value; without one the caller's stays as it was
    SettingsFiles files;               ///< as the call leaves them
    /// What happened on the way, such as "set: no header", for a test to tell which ways it tried.
    std::set<std::string> turns{};
};

[[nodiscard]] Prediction getInterventionConfig(const SettingsFiles &files,
                                               const QString &actionName, const QString &fieldName);

[[nodiscard]] Prediction setInterventionConfig(const SettingsFiles &files,
                                               const QString &actionName, const QString &fieldName,
                                               const QString &fieldValue);

/// The value as it stands in the intervention file.
[[nodiscard]] QByteArray quoted(const QByteArray &value);

/// The lines of the block-time file.
[[nodiscard]] std::vector<QString> textLines(const QByteArray &content);

} // namespace model
