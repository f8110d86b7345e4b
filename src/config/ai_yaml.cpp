// SPDX-License-Identifier: MIT
#include "config/ai_yaml.h"

#include "config/ai_tree.h"
#include "util/utf8_text.h"

#include <QStringList>

#include <yaml-cpp/eventhandler.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace halvex {
namespace {

/// Tells whether @p byte can begin a node in at least one context.
constexpr bool isIndicator(char byte)
{
    return byte == ',' || byte == '[' || byte == '{' || byte == ':' || byte == '-' || byte == '&' ||
           byte == '*' || byte == '!' || byte == '?';
}

/// Converts the bytes of a YAML file to the library's type.
///
/// The library needs up to 512 bytes of memory for each node, and any user can make the daemon read
/// the file. So a file with millions of bytes that can begin a node is refused.
std::string textOf(const QByteArray &content)
{
    constexpr int maxIndicators = 2'000'000;
    if (std::count_if(content.begin(), content.end(), isIndicator) > maxIndicators) {
        throw std::length_error("too many nodes");
    }
    return content.toStdString();
}

/// Ignores the events of a parsed document.
class IgnoringHandler : public YAML::EventHandler
{
public:
    void OnDocumentStart(const YAML::Mark & /*mark*/) override {}
    void OnDocumentEnd() override {}
    void OnNull(const YAML::Mark & /*mark*/, YAML::anchor_t /*anchor*/) override {}
    void OnAlias(const YAML::Mark & /*mark*/, YAML::anchor_t /*anchor*/) override {}
    void OnScalar(const YAML::Mark & /*mark*/, const std::string & /*tag*/,
                  YAML::anchor_t /*anchor*/, const std::string & /*value*/) override
    {}
    void OnSequenceStart(const YAML::Mark & /*mark*/, const std::string & /*tag*/,
                         YAML::anchor_t /*anchor*/, YAML::EmitterStyle::value /*style*/) override
    {}
    void OnSequenceEnd() override {}
    void OnMapStart(const YAML::Mark & /*mark*/, const std::string & /*tag*/,
                    YAML::anchor_t /*anchor*/, YAML::EmitterStyle::value /*style*/) override
    {}
    void OnMapEnd() override {}
};

/// Returns true if @p text certainly holds only the document with the root @p root; false means
/// that this is unknown. The check is quick and works for most files: for a block map in column 0.
/// Only a line that begins like a document marker or a directive ends such a map.
bool isCertainlySingleDocument(const YAML::Node &root, const std::string &text)
{
    constexpr std::array<const char *, 3> ends{"---", "...", "%"};
    if (root.Style() != YAML::EmitterStyle::Block || root.size() == 0) {
        return false;
    }
    const YAML::Node firstKey = root.begin()->first;
    // NUL bytes occur only in UTF-16, in UTF-32 and in binary files.
    if (!firstKey.IsScalar() || firstKey.Mark().column != 0 ||
        text.find('\0') != std::string::npos) {
        return false;
    }
    // A YAML::Mark counts characters, not bytes. So this position is at or before the key's first
    // byte.
    std::size_t lineBreak = std::size_t(firstKey.Mark().pos);
    while ((lineBreak = text.find_first_of("\r\n", lineBreak)) != std::string::npos) {
        ++lineBreak;
        if (std::any_of(ends.begin(), ends.end(), [&](const char *end) {
                return text.compare(lineBreak, std::strlen(end), end) == 0;
            })) {
            return false;
        }
    }
    return true;
}

/// Tells whether anything follows the first document in @p text. YAML::LoadAll() is not used,
/// because it loops for ever if a later document is malformed.
bool holdsSeveralDocuments(const std::string &text)
{
    std::istringstream stream(text);
    YAML::Parser parser(stream);
    IgnoringHandler handler;
    return parser.HandleNextDocument(handler) && parser.HandleNextDocument(handler);
}

/// Returns the root of the only document in @p content: a map, or null for an empty document.
/// Throws an exception for several documents, and for a root that is a scalar or a sequence: a
/// write would replace all of this by one map.
YAML::Node changeableRoot(const QByteArray &content)
{
    const std::string text = textOf(content);
    YAML::Node root = YAML::Load(text);
    if (!(root.IsMap() || root.IsNull()) ||
        (!isCertainlySingleDocument(root, text) && holdsSeveralDocuments(text))) {
        throw std::invalid_argument("no single map");
    }
    return root;
}

/// The maximum size of the text that is emitted from @p size bytes.
///
/// Quotes and escapes alone cannot exceed this limit. Two things can: aliases, because each use is
/// written out, and a long list that is deep inside flow brackets, because it is emitted in block
/// style, with each element indented. Such a file is refused, to save memory.
constexpr std::size_t maxTextBytesFrom(std::size_t size)
{
    constexpr std::size_t base = std::size_t(16) << 20;
    return base + 8 * size;
}

/// Returns the text for withAiSetting(). Throws an exception derived from std::exception where
/// withAiSetting() returns nothing.
std::string changedText(const QByteArray &content, const std::vector<std::string> &components,
                        const std::string &value)
{
    const YAML::Node root = changeableRoot(content);
    const YAML::Node changed(YAML::NodeType::Map);
    // This look-up finds nothing, but it merges the memory of the new tree into that of the large
    // tree. Without the look-up, the first insertion would merge the large tree into the new one,
    // which takes a tenth more time.
    static_cast<void>(root[changed]);
    setNestedValue(changed, root, components, value, 0);
    std::size_t size = std::size_t(content.size()) + value.size();
    for (const std::string &component : components) {
        size += component.size();
    }
    YAML::Emitter emitter;
    emitNode(emitter, changed, maxTextBytesFrom(size));
    if (!emitter.good()) {
        throw std::runtime_error(emitter.GetLastError());
    }
    return {emitter.c_str(), emitter.size()};
}

} // namespace

std::optional<QString> aiSettingIn(const QByteArray &content, const QString &key)
{
    try {
        const YAML::Node root = YAML::Load(textOf(content));
        return utf8Text(QByteArray::fromStdString(nodeAt(root, key).as<std::string>()));
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

std::optional<std::string> withAiSetting(const QByteArray &content, const QString &key,
                                         const QString &value)
{
    if (key.count('.') >= maxKeyComponents) {
        return std::nullopt;
    }
    // nodeAt() does not split its key into a list, because any user may send a key with millions of
    // components. Here the number of components is limited, and setNestedValue() needs to know
    // which component is the last.
    std::vector<std::string> components;
    for (const QString &component : key.split('.')) {
        components.push_back(component.toStdString());
    }
    try {
        return changedText(content, components, value.toStdString());
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

} // namespace halvex
