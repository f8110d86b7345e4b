// SPDX-License-Identifier: MIT
//
// The three notification settings in the text of the research engine's XML configuration:
//
//     <ossec_config><alerts><notify>
//         <notify_disabled/> <notify_timeout/> <notify_fold/>
//
// At each level, the first element with the name is used, even if only a later element of the same
// name has the expected children. Values are opaque UTF-8 texts. No file is touched here.
#pragma once

#include <QByteArray>

#include <array>
#include <optional>

namespace halvex {

/// The texts of notify_disabled, notify_timeout and notify_fold, in this order.
using NotifyValues = std::array<QByteArray, 3>;

/// Reads the three settings from the document @p xml.
///
/// @return the first text of each setting's element, which is empty if the element or its text is
///         missing; nothing if the document is malformed or has no notify element
[[nodiscard]] std::optional<NotifyValues> notifyValuesIn(QByteArray xml);

/// Returns the document @p xml with the three settings set to @p values.
///
/// A missing element is appended as the last child of notify. The text is made from the parsed
/// tree, with each element on a line of its own. Comments, declarations and layout are lost.
///
/// @return nothing if the document is malformed or has no notify element, or if a value is empty
[[nodiscard]] std::optional<QByteArray> withNotifyValues(QByteArray xml,
                                                         const NotifyValues &values);

} // namespace halvex
