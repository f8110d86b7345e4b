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

/// Tells whether @p byte can begin a node, wherever it stands.
constexpr bool isIndicator(char byte)
{
    return byte == ',' || byte == '[' || byte == '{' || byte == ':' || byte == '-' || byte == '&' ||
           byte == '*' || byte == '!' || byte == '?';
}

/// The bytes of a YAML file as the library takes them.
///
/// The library needs up to half a kilobyte for each node, and everybody may have the file read: one
/// with millions of bytes that can begin a node is refused before it takes the host's memory.
std::string textOf(const QByteArray &content)
{
    constexpr int maxIndicators = 2'000'000;
    if (std::count_if(content.begin(), content.end(), isIndicator) > maxIndicators) {
        throw std::length_error("too many nodes");
    }
    return content.toStdString();
}

/// Takes no notice of a document that is parsed.
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

/// Tells whether the document with @p root is all that @p text holds, as is quickly seen in most
/// files: a block map at the left margin ends at a line that begins like a border of documents or
/// a directive, and nowhere else.
bool isCertainlySingleDocument(const YAML::Node &root, const std::string &text)
{
    constexpr std::array<const char *, 3> ends{"---", "...", "%"};
    if (root.Style() != YAML::EmitterStyle::Block || root.size() == 0) {
        return false;
    }
    const YAML::Node firstKey = root.begin()->first;
    // Only in UTF-16 or UTF-32, or in a file that is no text, are there NULs.
    if (!firstKey.IsScalar() || firstKey.Mark().column != 0 ||
        text.find('\0') != std::string::npos) {
        return false;
    }
    // The mark counts characters, so it is never behind the key's first byte.
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

/// Tells whether anything follows the first document in @p text. The library's own way to read all
/// documents never ends where what follows is malformed.
bool holdsSeveralDocuments(const std::string &text)
{
    std::istringstream stream(text);
    YAML::Parser parser(stream);
    IgnoringHandler handler;
    return parser.HandleNextDocument(handler) && parser.HandleNextDocument(handler);
}

/// The root of the one document in @p content, which can have entries: a map, or null when the
/// document is empty. Other documents would be lost with the next write, and so would a root that
/// has no named entries.
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

/// How long a text may become that is emitted from @p size bytes before it is given up.
///
/// Quotes and escapes stay below this. Two things can lengthen a text beyond it, and a file that
/// needs so much is not worth the memory: aliases, whose nodes are written out at each place, and
/// indentation, which a long list deep inside flow brackets gets anew on each of its lines.
constexpr std::size_t maxTextBytesFrom(std::size_t size)
{
    constexpr std::size_t base = std::size_t(16) << 20;
    return base + 8 * size;
}

/// The text that withAiSetting() returns. Throws an exception derived from std::exception where
/// that returns nothing.
std::string changedText(const QByteArray &content, const std::vector<std::string> &components,
                        const std::string &value)
{
    const YAML::Node root = changeableRoot(content);
    const YAML::Node changed(YAML::NodeType::Map);
    // It is not in there. But with this the new tree's memory joins the large one's; an insertion
    // would do it the other way round, which takes as long as a tenth of all the rest.
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
    // nodeAt() needs no list of a key that anybody may make millions of components long; this one
    // has few, and is walked with each of them known to be the last or not.
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
