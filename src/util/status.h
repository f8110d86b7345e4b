// SPDX-License-Identifier: MIT
#pragma once

namespace halvex {

/// The status that a bus method returns. A method may have further values of its own.
enum Status : int {
    succeeded = 0,
    failed = -1,
    callerRefused = -999, ///< by the gate
};

} // namespace halvex
