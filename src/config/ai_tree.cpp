// SPDX-License-Identifier: MIT
#include "config/ai_tree.h"

#include <stdexcept>

namespace halvex {
namespace {

void emitScalar(YAML::Emitter &emitter, const YAML::Node &node)
{
    bool flag = false;
    int number = 0;
    if (YAML::convert<bool>::decode(node, flag)) {
        emitter << flag;
    } else if (YAML::convert<int>::decode(node, number)) {
        emitter << number;
    } else {
        emitter << YAML::DoubleQuoted << node.Scalar();
    }
}

/// Tells whether @p key has the name @p name. A null key has the name "null".
bool isNamed(const YAML::Node &key, const std::string &name)
{
    return (key.IsScalar() || key.IsNull()) && key.as<std::string>() == name;
}

/// Tells whether @p key would be read as a document marker at the start of a line.
bool looksLikeDocumentBorder(const std::string &key)
{
    return key.rfind("--- ", 0) == 0 || key.rfind("... ", 0) == 0;
}

/// Tells whether @p key would be read as a byte-order mark at the start of a file.
bool looksLikeByteOrderMark(const std::string &key)
{
    return key.rfind("\xef\xbb\xbf", 0) == 0 || key.rfind("\xfe\xff", 0) == 0 ||
           key.rfind("\xff\xfe", 0) == 0 || key.substr(0, 4).find('\0') != std::string::npos;
}

/// Tells whether @p key, emitted in @p format, is too long to share a line with its value. The
/// emitter checks this as well, but measures the key before it is escaped.
bool isLongWhenEmitted(const std::string &key, YAML::EMITTER_MANIP format)
{
    constexpr std::size_t maxKeyBytes = 1024; // as in yaml-cpp 0.7 and 0.8
    constexpr std::size_t maxEscapeBytes = 4; // for each byte
    if (key.size() * maxEscapeBytes < maxKeyBytes) {
        return false;
    }
    YAML::Emitter alone;
    alone << format << key;
    return alone.size() > maxKeyBytes;
}

void emitKey(YAML::Emitter &emitter, const std::string &key, int depth)
{
    // The emitter quotes a key that would be misread, except in these cases.
    const bool isMistaken =
        depth == 1 && (looksLikeDocumentBorder(key) || looksLikeByteOrderMark(key));
    YAML::EMITTER_MANIP format = isMistaken ? YAML::DoubleQuoted : YAML::Auto;
    const bool isLong = isLongWhenEmitted(key, format);
    if (isLong && key.back() == '\r') { // it would be lost in the line break that follows
        format = YAML::DoubleQuoted;
    }
    emitter << format;
    if (isLong) {
        emitter << YAML::LongKey;
    }
    emitter << YAML::Key << key << YAML::Value;
}

} // namespace

YAML::Node nodeAt(const YAML::Node &root, const QString &key)
{
    YAML::Node node = root;
    int start = 0;
    for (int end = 0; end < key.size(); start = end + 1) {
        end = key.indexOf('.', start);
        end = end < 0 ? key.size() : end;
        // The node must be const: operator[] of a non-const node inserts a missing entry.
        const YAML::Node &map = node;
        node.reset(map[key.mid(start, end - start).toStdString()]);
    }
    return node;
}

void setNestedValue(YAML::Node result, const YAML::Node &node,
                    const std::vector<std::string> &components, const std::string &value,
                    std::size_t index)
{
    const auto insertNamed = [&](const YAML::Node &key, const YAML::Node &entry) {
        if (index + 1 == components.size()) {
            result.force_insert(key, value);
            return;
        }
        // Insert the new map before it is filled: the library then merges the memory of the two
        // trees only once, not at each level.
        const YAML::Node map(YAML::NodeType::Map);
        result.force_insert(key, map);
        setNestedValue(map, entry, components, value, index + 1);
    };

    bool isFound = false;
    if (node.IsMap()) {
        for (const auto &entry : node) {
            if (!isFound && isNamed(entry.first, components[index])) {
                isFound = true;
                insertNamed(entry.first, entry.second);
            } else {
                result.force_insert(entry.first, entry.second);
            }
        }
    }
    if (!isFound) {
        insertNamed(YAML::Node(components[index]), YAML::Node());
    }
}

void emitNode(YAML::Emitter &emitter, const YAML::Node &node, std::size_t maxTextBytes, int depth)
{
    if (depth > maxNodeDepth || emitter.size() > maxTextBytes) {
        throw std::length_error("too deep or too long a document");
    }
    switch (node.Type()) {
    case YAML::NodeType::Undefined:
    case YAML::NodeType::Null:
        emitter << YAML::Null;
        break;
    case YAML::NodeType::Scalar:
        emitScalar(emitter, node);
        break;
    case YAML::NodeType::Sequence:
        emitter << YAML::BeginSeq;
        for (const auto &element : node) {
            emitNode(emitter, element, maxTextBytes, depth + 1);
        }
        emitter << YAML::EndSeq;
        break;
    case YAML::NodeType::Map:
        emitter << YAML::BeginMap;
        for (const auto &entry : node) {
            emitKey(emitter, entry.first.as<std::string>(), depth);
            emitNode(emitter, entry.second, maxTextBytes, depth + 1);
        }
        emitter << YAML::EndMap;
        break;
    }
}

} // namespace halvex
