// SPDX-License-Identifier: MIT
//
// Random calls about intervention settings, with random files, that look for trouble: names that
// contain each other, headers in comments, odd line ends, characters of several bytes, and settings
// that are almost, but not quite, what is looked for.
#pragma once

#include "model/intervention_model.h"
#include "model/random.h"

#include <QString>

#include <string>

struct InterventionCase
{
    model::SettingsFiles files;
    bool sets = false; ///< setInterventionConfig, otherwise getInterventionConfig
    QString actionName;
    QString fieldName;
    QString fieldValue; ///< to be set; or what the out-value holds before the call
};

/// Draws a case; the values that it draws from @p random depend on nothing else.
[[nodiscard]] InterventionCase randomInterventionCase(Random &random);

/// The whole case as text, every unusual byte escaped.
[[nodiscard]] std::string described(const InterventionCase &drawn);

/// @p bytes in double quotes, every unusual one escaped.
[[nodiscard]] std::string escaped(const QByteArray &bytes);

/// A file's content, escaped, or that there is none.
[[nodiscard]] std::string escaped(const std::optional<QByteArray> &content);
