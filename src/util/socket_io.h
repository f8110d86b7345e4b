// SPDX-License-Identifier: MIT
//
// Sends and receives bytes and file descriptors over a connected Unix socket. Repeats interrupted
// system calls.
#pragma once

#include "util/file_descriptor.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>

namespace halvex {

/// The time at which a wait ends. No value means no time limit.
using Deadline = std::optional<std::chrono::steady_clock::time_point>;

/// Returns both ends of a new connection. On failure, neither end is open.
[[nodiscard]] std::array<FileDescriptor, 2> makeConnection();

/// Sends the @p size bytes at @p bytes over @p socket. Blocks while the socket's buffer is full.
///
/// @return false if the other end is closed, or the call fails
[[nodiscard]] bool sendAll(int socket, const void *bytes, std::size_t size);

/// Receives @p size bytes from @p socket into @p bytes.
///
/// @return false at EOF, when @p deadline has passed, or if the call fails
[[nodiscard]] bool receiveAll(int socket, void *bytes, std::size_t size, const Deadline &deadline);

/// Sends @p descriptor over @p socket. If @p descriptor is not open, sends a message without a
/// descriptor.
///
/// @return false on failure
[[nodiscard]] bool sendDescriptor(int socket, const FileDescriptor &descriptor);

/// Receives a message of sendDescriptor().
///
/// @return the descriptor; a closed one if the message has none; nothing at EOF or if the call
///         fails
[[nodiscard]] std::optional<FileDescriptor> receiveDescriptor(int socket);

} // namespace halvex
