// SPDX-License-Identifier: MIT
//
// Finds, sets and emits settings in the tree of a YAML document. No file is touched here. On error
// these functions throw an exception derived from std::exception.
#pragma once

#include <QString>

#include <yaml-cpp/yaml.h>

#include <cstddef>
#include <string>
#include <vector>

namespace halvex {

/// The maximum depth of a document; the root has depth 1. The libraries yaml-cpp 0.7 and 0.8 refuse
/// a deeper document.
constexpr int maxNodeDepth = 499;

/// The maximum number of components of a key. Each component is one level of nested maps. The value
/// is in the innermost map.
constexpr int maxKeyComponents = maxNodeDepth - 1;

/// Follows the dotted @p key from @p root: each component of the key names a map entry.
///
/// The cost is linear in the key's length and the size of the maps on the path. The search stops at
/// the first missing component. The tree is not changed.
///
/// @throws YAML::Exception when an entry is missing
[[nodiscard]] YAML::Node nodeAt(const YAML::Node &root, const QString &key);

/// Copies the entries of @p node to the empty map @p result, in the same order, and sets the entry
/// at the path @p components[index], @p components[index + 1], ... to @p value.
///
/// Each component but the last names a map. A missing entry is appended, and an entry that is not a
/// map is replaced by a map. The first of several entries with the same name is used. @p node
/// itself is not changed. With aliases, several entries can be the same node, so a change of that
/// node would change all of them. But only the named entry may change.
void setNestedValue(YAML::Node result, const YAML::Node &node,
                    const std::vector<std::string> &components, const std::string &value,
                    std::size_t index);

/// Emits @p node and its descendants. Each scalar is emitted as a boolean if the library can read
/// it as one, else as an int if the library can read it as one, else as a double-quoted text. Keys
/// are always emitted as text.
///
/// @param maxTextBytes  the approximate maximum size of the text, which nested aliases could
///                      otherwise make longer without a limit
/// @param depth         the depth of @p node in the document; the root has depth 1
/// @throws std::exception if a key is a map or a sequence, if the text grows too long, or if the
///         tree is deeper than maxNodeDepth (a tree that contains itself always is)
void emitNode(YAML::Emitter &emitter, const YAML::Node &node, std::size_t maxTextBytes,
              int depth = 1);

} // namespace halvex
