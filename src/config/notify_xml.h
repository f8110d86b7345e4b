// SPDX-License-Identifier: MIT
//
// The three notification settings in the text of the research engine's XML configuration:
//
//     <ossec_config><alerts><notify>
//         <notify_disabled/> <notify_timeout/> <notify_fold/>
//
// At each step the first element of the name counts, also where a later one would lead further.
// Values are opaque UTF-8 texts. No file is touched here.
#pragma once

#include <QByteArray>

#include <array>
#include <optional>

namespace halvex {

/// The texts of notify_disabled, notify_timeout and notify_fold, in this order.
using NotifyValues = std::array<QByteArray, 3>;

/// Reads the three settings from the document @p xml.
///
/// @return the first text of each setting's element, empty where element or text is missing;
///         nothing when the document is malformed or has no notify element
[[nodiscard]] std::optional<NotifyValues> notifyValuesIn(QByteArray xml);

/// The document @p xml with the three settings set to @p values.
///
/// A missing element is appended as notify's last child. What comes back is the parsed tree
/// alone, each element on a line of its own: comments, declarations and layout are gone.
///
/// @return nothing when the document is malformed, has no notify element, or a value is empty
[[nodiscard]] std::optional<QByteArray> withNotifyValues(QByteArray xml,
                                                         const NotifyValues &values);

} // namespace halvex
