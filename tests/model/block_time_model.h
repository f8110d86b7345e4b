// SPDX-License-Identifier: MIT
//
// The part of the model that reads and changes the block-time file.
#pragma once

#include "model/intervention_model.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace model {

/// Returns @p call with the effect of reading the block time.
[[nodiscard]] Prediction readTimeout(Prediction call);

/// Returns @p call with the effect of changing the block time to @p value.
[[nodiscard]] Prediction writeTimeout(Prediction call, const QString &value);

/// The lines of the block-time file.
[[nodiscard]] std::vector<QString> textLines(const QByteArray &content);

} // namespace model
