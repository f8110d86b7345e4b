// SPDX-License-Identifier: MIT
//
// Random calls that get or set intervention settings, with random files. They aim at difficult
// input: names that contain each other, headers in comments, odd line ends, multibyte characters,
// and names that differ only slightly from the requested ones.
#pragma once

#include "model/intervention_model.h"
#include "model/random.h"

#include <QString>

#include <string>

struct InterventionCase
{
    model::SettingsFiles files;
    bool sets = false; ///< true: setInterventionConfig; false: getInterventionConfig
    QString actionName;
    QString fieldName;
    QString fieldValue; ///< the value to set, or the out-value before the call
};

/// Draws a case, which depends only on the state of @p random.
[[nodiscard]] InterventionCase randomInterventionCase(Random &random);

/// The whole case as text, with every unusual byte escaped.
[[nodiscard]] std::string described(const InterventionCase &drawn);

/// @p bytes in double quotes, with every unusual byte escaped.
[[nodiscard]] std::string escaped(const QByteArray &bytes);

/// A file's escaped content, or "missing" if there is no file.
[[nodiscard]] std::string escaped(const std::optional<QByteArray> &content);
