// SPDX-License-Identifier: MIT
//
// Bytes and descriptors over a connected Unix socket. A call that is interrupted is made again.
#pragma once

#include "util/file_descriptor.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>

namespace halvex {

/// Until when something is waited for; nothing means without a limit.
using Deadline = std::optional<std::chrono::steady_clock::time_point>;

/// Both ends of a new connection; not open when it cannot be made.
[[nodiscard]] std::array<FileDescriptor, 2> makeConnection();

/// Sends @p size @p bytes over @p socket. Waits for room.
///
/// @return false when the other end is closed, or the call fails
[[nodiscard]] bool sendAll(int socket, const void *bytes, std::size_t size);

/// Fills @p size @p bytes from @p socket.
///
/// @return false at the end of the connection, when @p deadline has passed, or when the call fails
[[nodiscard]] bool receiveAll(int socket, void *bytes, std::size_t size, const Deadline &deadline);

/// Sends @p descriptor over @p socket, or none if it is not open.
///
/// @return false when that fails
[[nodiscard]] bool sendDescriptor(int socket, const FileDescriptor &descriptor);

/// What sendDescriptor() has sent.
///
/// @return nothing at the end of the connection, or when the call fails
[[nodiscard]] std::optional<FileDescriptor> receiveDescriptor(int socket);

} // namespace halvex
