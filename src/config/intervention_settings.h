// SPDX-License-Identifier: MIT
//
// The intervention component's settings: fields of named actions in the intervention file, and one
// field of every action, blockip_timeout, in the block-time file. Which actions and fields there
// are, only the component and the front end know; values are opaque. Both files are rewritten in
// place and never created. Nothing is cached or logged.
#pragma once

#include <QString>

namespace halvex {

/// Reads one field of one action.
///
/// The block time comes as its seconds and "s"; as "-1" when the file has it empty.
///
/// @param fieldValue  the value without its quotes; empty when action or field is not there;
///                    untouched for a block time of 0 or none, and on failure
/// @return 0 when the file was read, whether or not it has the field; -1 when a name is empty,
///         readSettingsFile() fails, or the block time is no number
[[nodiscard]] int getInterventionConfig(const QString &configPath, const QString &blockTimePath,
                                        const QString &actionName, const QString &fieldName,
                                        QString &fieldValue);

/// Writes one field of one action, each word of @p fieldValue in quotes of its own.
///
/// Never returns when the action has a header but the field does not stand after it on a line with
/// a line feed at its end: the search is repeated for ever.
///
/// @return 0 when the file was opened for writing; -1 when a name is empty, the action has no
///         header, or the file cannot be read, is larger than maxSettingsFileSize or cannot be
///         opened for writing; the file is then untouched
[[nodiscard]] int setInterventionConfig(const QString &configPath, const QString &blockTimePath,
                                        const QString &actionName, const QString &fieldName,
                                        const QString &fieldValue);

} // namespace halvex
