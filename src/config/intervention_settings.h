// SPDX-License-Identifier: MIT
//
// The intervention component's settings: fields of named actions in the intervention file, and one
// field of every action, blockip_timeout, in the block-time file. Only the component and the front
// end know the actions and fields, and interpret the values. Both files are rewritten in place and
// never created. Nothing is cached or logged.
#pragma once

#include <QString>

namespace halvex {

/// Reads one field of one action.
///
/// The block time is returned as the number of seconds followed by "s", or as "-1" if it is empty
/// in the file.
///
/// @param fieldValue  the value without its quotes; empty if action or field is missing; unchanged
///                    for a block time of 0 or none, and on failure
/// @return 0 if the file was read, even without the field; -1 if a name is empty,
///         readSettingsFile() fails, or the block time is not a number
[[nodiscard]] int getInterventionConfig(const QString &configPath, const QString &blockTimePath,
                                        const QString &actionName, const QString &fieldName,
                                        QString &fieldValue);

/// Writes one field of one action. Each word of @p fieldValue is quoted separately.
///
/// Loops for ever if the action has a header, but is not followed by the field on a line that ends
/// with a line feed.
///
/// @return 0 if the file was opened for writing; -1, with the file unchanged, if a name is empty,
///         the action has no header, readSettingsFile() fails, or the file cannot be opened for
///         writing
[[nodiscard]] int setInterventionConfig(const QString &configPath, const QString &blockTimePath,
                                        const QString &actionName, const QString &fieldName,
                                        const QString &fieldValue);

} // namespace halvex
