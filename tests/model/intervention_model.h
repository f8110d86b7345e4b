// SPDX-License-Identifier: MIT
//
// A model of reading and changing one intervention setting: simple and slow, and in memory only. It
// shares no code or algorithm with the daemon, and predicts which calls never return.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <set>
#include <string>

namespace model {

/// The two files before or after a call. A missing file cannot be opened.
struct SettingsFiles
{
    std::optional<QByteArray> intervention; ///< any bytes
    std::optional<QByteArray> blockTime; ///< UTF-8; its last 16 KiB must not consist of "\r" only
    bool writable = true;                ///< false: both files can be opened only for reading
};

bool operator==(const SettingsFiles &left, const SettingsFiles &right);

/// The effect of a call.
struct Prediction
{
    bool returns = true; ///< false: the other members have no meaning
    int status = 0;
    std::optional<QString> fieldValue; ///< the new out-value; if there is none, it stays untouched
    SettingsFiles files;               ///< the files after the call
    /// The turns (branches of the model) that the call took, such as "set: no header". A test
    /// counts how often each was taken.
    std::set<std::string> turns{};
};

[[nodiscard]] Prediction getInterventionConfig(const SettingsFiles &files,
                                               const QString &actionName, const QString &fieldName);

[[nodiscard]] Prediction setInterventionConfig(const SettingsFiles &files,
                                               const QString &actionName, const QString &fieldName,
                                               const QString &fieldValue);

/// The value as it is written to the intervention file.
[[nodiscard]] QByteArray quoted(const QByteArray &value);

} // namespace model
