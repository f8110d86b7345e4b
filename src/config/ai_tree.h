// SPDX-License-Identifier: MIT
//
// Finds, sets and emits settings in the tree of a YAML document. No file is touched here. What goes
// wrong leaves these functions as an exception derived from std::exception.
#pragma once

#include <QString>

#include <yaml-cpp/yaml.h>

#include <cstddef>
#include <string>
#include <vector>

namespace halvex {

/// How deep the YAML library reads a node, the root counted as 1. It refuses a deeper document.
constexpr int maxNodeDepth = 499;

/// How many components a key can have: as many maps one inside the other, and the value in the
/// innermost.
constexpr int maxKeyComponents = maxNodeDepth - 1;

/// Steps from @p root into the map entry that each component of the dotted @p key names.
///
/// Costs no more than the key's length and the maps on the way, and stops at the first component
/// that is not there; the tree does not grow.
///
/// @throws YAML::Exception when an entry is missing
[[nodiscard]] YAML::Node nodeAt(const YAML::Node &root, const QString &key);

/// Fills the empty map @p result with the entries of @p node, in their order, but with @p value
/// where the @p components from @p index on lead.
///
/// Each but the last names a map on the way. An entry that is missing is appended, one that is no
/// map is replaced by one. The first of equal names counts. @p node stays as it is: entries that
/// are the same node by an alias, even one that contains itself, must not all change with one.
void setNestedValue(YAML::Node result, const YAML::Node &node,
                    const std::vector<std::string> &components, const std::string &value,
                    std::size_t index);

/// Emits @p node and all below it, with the type of each scalar settled anew: a boolean if the
/// library reads one, else an int, else a double-quoted text. Keys are emitted as the text they
/// are.
///
/// @param maxTextBytes  how many bytes the whole text may have, or little more: aliases of aliases
///                      can make it grow without bounds
/// @param depth         of @p node in the document, its root's being 1
/// @throws std::exception when a key is a map or a sequence, when the text grows too long, or when
///         the tree is deeper than maxNodeDepth, as one that contains itself is
void emitNode(YAML::Emitter &emitter, const YAML::Node &node, std::size_t maxTextBytes,
              int depth = 1);

} // namespace halvex
