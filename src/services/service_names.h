// SPDX-License-Identifier: MIT
//
// The services that callers may change: only the suite's own. The only side effect of the check is
// its warning.
#pragma once

#include <QString>

namespace halvex {

/// The name under which the network-AI engine, an application package, is treated as a service.
inline const QString netAiAppName = "halvex.net.ai";

/// Tells whether @p serviceNames contains at least one name and only names of the suite's services.
///
/// Names are separated by blanks (U+0020 only). Empty names and white space around a name are
/// ignored. Names are case-sensitive.
///
/// @return false with one Qt warning: "Empty service name", or the invalid names and the allowed
///         names (in no particular order).
[[nodiscard]] bool checkServiceNames(const QString &serviceNames);

} // namespace halvex
