// SPDX-License-Identifier: MIT
//
// Bytes and descriptors over a connected Unix socket. An interrupted call is repeated.
#pragma once

#include "util/file_descriptor.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>

namespace halvex {

/// The end of a wait. No value means no time limit.
using Deadline = std::optional<std::chrono::steady_clock::time_point>;

/// Returns both ends of a new connection; not open on failure.
[[nodiscard]] std::array<FileDescriptor, 2> makeConnection();

/// Sends @p size @p bytes over @p socket. Blocks while the socket's buffer is full.
///
/// @return false if the other end is closed, or the call fails
[[nodiscard]] bool sendAll(int socket, const void *bytes, std::size_t size);

/// Fills @p size @p bytes from @p socket.
///
/// @return false at EOF, when @p deadline has passed, or if the call fails
[[nodiscard]] bool receiveAll(int socket, void *bytes, std::size_t size, const Deadline &deadline);

/// Sends @p descriptor over @p socket, or none if it is not open.
///
/// @return false on failure
[[nodiscard]] bool sendDescriptor(int socket, const FileDescriptor &descriptor);

/// Receives what sendDescriptor() has sent.
///
/// @return nothing at EOF, or if the call fails
[[nodiscard]] std::optional<FileDescriptor> receiveDescriptor(int socket);

} // namespace halvex
