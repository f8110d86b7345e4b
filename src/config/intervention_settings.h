// SPDX-License-Identifier: MIT
//
// The settings of the intervention component: fields of named actions. They are in the intervention
// file, except for the field blockip_timeout, which is in the block-time file and is the same for
// all actions. Only the component and the front end know the actions and fields, and interpret the
// values. Both files are rewritten in place and never created. Nothing is cached or logged.
#pragma once

#include <QString>

namespace halvex {

/// Reads one field of one action.
///
/// The block time is returned as the number of seconds followed by "s", or as "-1" if it is empty
/// in the file.
///
/// @param fieldValue  the value without its quotes; empty if action or field is missing; unchanged
///                    on failure, and if the block time is 0 or missing
/// @return 0 if the file was read, even if it lacks the field; -1 if a name is empty, if
///         readSettingsFile() fails, or if the block time is not a number
[[nodiscard]] int getInterventionConfig(const QString &configPath, const QString &blockTimePath,
                                        const QString &actionName, const QString &fieldName,
                                        QString &fieldValue);

/// Writes one field of one action. Each word of @p fieldValue is quoted separately.
///
/// Never returns if the action has a header, but findFieldValue() finds no field after that header:
/// the search loops for ever.
///
/// @return 0 if the file was opened for writing; -1, with the file unchanged, if a name is empty,
///         if the action has no header, if readSettingsFile() fails, or if the file cannot be
///         opened for writing
[[nodiscard]] int setInterventionConfig(const QString &configPath, const QString &blockTimePath,
                                        const QString &actionName, const QString &fieldName,
                                        const QString &fieldValue);

} // namespace halvex
