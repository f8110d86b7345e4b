// SPDX-License-Identifier: MIT
//
// Which services the daemon may change for its callers: the suite's own, and no other. Asks and
// changes nothing.
#pragma once

#include <QString>

namespace halvex {

/// The name under which the network-AI engine, an application package, is treated as a service.
inline const QString netAiAppName = "halvex.net.ai";

/// Tells whether @p serviceNames holds at least one name and only names of the suite's services.
///
/// Names are separated by blanks (U+0020 alone); empty ones between them do not count, and white
/// space around a name does not either. Letter case does.
///
/// @return false with one Qt warning: "Empty service name", or the invalid names and the allowed
///         ones (these in no particular order).
[[nodiscard]] bool checkServiceNames(const QString &serviceNames);

} // namespace halvex
