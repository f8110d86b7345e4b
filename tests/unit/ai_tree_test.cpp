// SPDX-License-Identifier: MIT
#include "config/ai_tree.h"
#include "support/printing.h"

#include <gtest/gtest.h>
#include <yaml-cpp/depthguard.h>

#include <stdexcept>

namespace {

/// The document @p root as the daemon would write it.
std::string emitted(const YAML::Node &root)
{
    YAML::Emitter emitter;
    halvex::emitNode(emitter, root, 1 << 20);
    EXPECT_TRUE(emitter.good()) << emitter.GetLastError();
    return {emitter.c_str(), emitter.size()};
}

std::string emitted(const std::string &yaml)
{
    return emitted(YAML::Load(yaml));
}

/// The document @p yaml after @p value was set at @p components.
std::string changed(const std::string &yaml, const std::vector<std::string> &components,
                    const std::string &value)
{
    const YAML::Node result(YAML::NodeType::Map);
    halvex::setNestedValue(result, YAML::Load(yaml), components, value, 0);
    return emitted(result);
}

/// The text of the node that @p key names in @p yaml.
std::string textAt(const std::string &yaml, const QString &key)
{
    return halvex::nodeAt(YAML::Load(yaml), key).as<std::string>();
}

/// A document of @p depth nested maps, with a scalar in the innermost map.
YAML::Node nestedMaps(int depth)
{
    const YAML::Node root(YAML::NodeType::Map);
    halvex::setNestedValue(root, YAML::Node(), std::vector<std::string>(std::size_t(depth), "a"),
                           "x", 0);
    return root;
}

TEST(AiTree, AKeyLeadsThroughMaps)
{
    EXPECT_EQ(textAt("a: 1", "a"), "1");
    EXPECT_EQ(textAt("a: {b: {c: text}}", "a.b.c"), "text");
    EXPECT_EQ(textAt("a: 1\na: 2", "a"), "1");
}

TEST(AiTree, EmptyComponentsOfAKeyAreLookedUp)
{
    EXPECT_EQ(textAt("a: {'': {'': 1}}", "a.."), "1");
    EXPECT_EQ(textAt("'': {a: 1}", ".a"), "1");
    EXPECT_EQ(textAt("'': {'': 1}", "."), "1");
}

TEST(AiTree, AKeyIsComparedAsText)
{
    EXPECT_EQ(textAt("1: a\ntrue: b\n'x y': c\nzwölf: d", "1"), "a");
    EXPECT_EQ(textAt("1: a\ntrue: b\n'x y': c\nzwölf: d", "true"), "b");
    EXPECT_EQ(textAt("1: a\ntrue: b\n'x y': c\nzwölf: d", "x y"), "c");
    EXPECT_EQ(textAt("1: a\ntrue: b\n'x y': c\nzwölf: d", "zwölf"), "d");
    EXPECT_THROW(textAt("01: a", "1"), YAML::Exception);
}

TEST(AiTree, KeysThatAreNotScalarsAreSkipped)
{
    EXPECT_EQ(textAt("? [a]\n: 1\n? {a: b}\n: 2\n~: 3\na: 4", "a"), "4");
    EXPECT_THROW(textAt("~: 3", "null"), YAML::Exception);
    EXPECT_THROW(textAt("~: 3", "~"), YAML::Exception);
}

TEST(AiTree, AMissingNodeThrowsAndIsNotAdded)
{
    const YAML::Node root = YAML::Load("a: {b: 1}\nc: [x, y]");
    for (const char *key : {"x", "a.x", "a.b.x", "c.0", "c.x", "a.x.y.z", ".", "a."}) {
        EXPECT_THROW(static_cast<void>(halvex::nodeAt(root, key)), YAML::Exception) << key;
    }
    EXPECT_EQ(emitted(root), "a:\n  b: 1\nc:\n  - \"x\"\n  - true");
    EXPECT_THROW(textAt("", "a"), YAML::Exception);
    EXPECT_THROW(textAt("[a]", "0"), YAML::Exception);
    EXPECT_THROW(textAt("a", "a"), YAML::Exception);
}

TEST(AiTree, AnAliasLeadsToItsNode)
{
    EXPECT_EQ(textAt("a: &x {b: 1}\nc: *x", "c.b"), "1");
    EXPECT_EQ(textAt("&a {b: *a, c: 1}", "b.b.b.b.c"), "1");
}

TEST(AiTree, AnEntryIsReplacedAtItsPlace)
{
    EXPECT_EQ(changed("a: 1\nb: 2\nc: 3", {"b"}, "x"), "a: 1\nb: \"x\"\nc: 3");
    EXPECT_EQ(changed("a: {b: 1, c: 2}\nd: 3", {"a", "b"}, "5"), "a:\n  b: 5\n  c: 2\nd: 3");
    EXPECT_EQ(changed("a: {b: 1}\nc: 3", {"a"}, "5"), "a: 5\nc: 3");
    EXPECT_EQ(changed("a: [1, 2]", {"a"}, "5"), "a: 5");
    EXPECT_EQ(changed("a: ~", {"a"}, "5"), "a: 5");
}

TEST(AiTree, AMissingEntryIsAppended)
{
    EXPECT_EQ(changed("a: 1", {"b"}, "2"), "a: 1\nb: 2");
    EXPECT_EQ(changed("a: {b: 1}", {"a", "c"}, "2"), "a:\n  b: 1\n  c: 2");
    EXPECT_EQ(changed("", {"a", "b", "c"}, "2"), "a:\n  b:\n    c: 2");
}

TEST(AiTree, ANodeOnTheKeysPathBecomesAMap)
{
    EXPECT_EQ(changed("a: 1", {"a", "b"}, "5"), "a:\n  b: 5");
    EXPECT_EQ(changed("a: [{b: 1}]\nc: 2", {"a", "b"}, "5"), "a:\n  b: 5\nc: 2");
    EXPECT_EQ(changed("a:\nc: 2", {"a", "b"}, "5"), "a:\n  b: 5\nc: 2");
}

TEST(AiTree, AnEntryIsSetUnderAnEmptyComponent)
{
    EXPECT_EQ(changed("a: 1", {"b", ""}, "5"), "a: 1\nb:\n  \"\": 5");
    EXPECT_EQ(changed("'': 1", {""}, "5"), "\"\": 5");
}

TEST(AiTree, TheFirstOfSeveralEqualNamesIsSet)
{
    EXPECT_EQ(changed("a: 1\na: 2", {"a"}, "5"), "a: 5\na: 2");
    EXPECT_EQ(changed("a: 1\na: {b: 2}", {"a", "b"}, "5"), "a:\n  b: 5\na:\n  b: 2");
}

TEST(AiTree, ANullKeyIsNamedNull)
{
    EXPECT_EQ(changed("~: 1", {"null"}, "5"), "\"null\": 5");
    EXPECT_EQ(changed("~: 1", {""}, "5"), "\"null\": 1\n\"\": 5");
}

TEST(AiTree, OtherAliasesOfAChangedEntryKeepTheirValue)
{
    EXPECT_EQ(changed("a: &x 1\nb: *x\nc: *x", {"b"}, "5"), "a: 1\nb: 5\nc: 1");
    EXPECT_EQ(changed("a: &x {y: 1, z: 2}\nb: *x", {"b", "y"}, "5"),
              "a:\n  y: 1\n  z: 2\nb:\n  y: 5\n  z: 2");
}

TEST(AiTree, AnEntryOfANodeThatContainsItselfCanBeReplaced)
{
    EXPECT_EQ(changed("&a {x: *a, y: 1}", {"x"}, "5"), "x: 5\ny: 1");
    EXPECT_EQ(changed("a: &a [1, *a]", {"a"}, "5"), "a: 5");
    EXPECT_EQ(changed("&a {x: *a, y: 1}", {"x", "x"}, "5"), "x:\n  x: 5\n  y: 1\ny: 1");
    EXPECT_THROW(changed("&a {x: *a, y: *a}", {"x"}, "5"), std::length_error)
        << "although y still contains the old node";
    EXPECT_EQ(changed("&a {x: *a}", {"x", "x"}, "5"), "x:\n  x: 5");
}

TEST(AiTree, TheOldTreeStaysUnchanged)
{
    const YAML::Node old = YAML::Load("a: {b: 1}");
    const YAML::Node result(YAML::NodeType::Map);
    halvex::setNestedValue(result, old, {"a", "b"}, "5", 0);
    EXPECT_EQ(emitted(old), "a:\n  b: 1");
}

TEST(AiTree, BooleanWordsAreEmittedAsTrueOrFalse)
{
    for (const char *text :
         {"true", "True", "TRUE", "yes", "Yes", "YES", "on", "On", "ON", "y", "Y"}) {
        EXPECT_EQ(emitted(std::string("a: ") + text), "a: true") << text;
        EXPECT_EQ(emitted(std::string("a: '") + text + "'"), "a: true") << text;
    }
    for (const char *text :
         {"false", "False", "FALSE", "no", "No", "NO", "off", "Off", "OFF", "n", "N"}) {
        EXPECT_EQ(emitted(std::string("a: ") + text), "a: false") << text;
    }
    EXPECT_EQ(emitted("a: tRue\nb: oN"), "a: \"tRue\"\nb: \"oN\"");
}

TEST(AiTree, IntegersAreEmittedInDecimal)
{
    EXPECT_EQ(emitted("[1, '1', +1, -1, 0x1F, 010, 2147483647, -2147483648, '7 ']"),
              "- 1\n- 1\n- 1\n- -1\n- 31\n- 8\n- 2147483647\n- -2147483648\n- 7");
    EXPECT_EQ(emitted("[2147483648, 1.5, 1e3, 1_000, ' 1', 1x, '']"),
              "- \"2147483648\"\n- \"1.5\"\n- \"1e3\"\n- \"1_000\"\n- \" 1\"\n- \"1x\"\n- \"\"");
}

TEST(AiTree, AnyOtherTextIsDoubleQuoted)
{
    EXPECT_EQ(emitted("a: plain\nb: 'it''s'\nc: \"q\\\"\\\\\"\nd: |\n  x\n  y\ne: zwölf 😀"),
              "a: \"plain\"\nb: \"it's\"\nc: \"q\\\"\\\\\"\nd: \"x\\ny\\n\"\ne: \"zwölf 😀\"");
    EXPECT_EQ(emitted("a: \"\\0\\x01\\t\""), "a: \"\\x00\\x01\\t\"");
    EXPECT_EQ(emitted("a: \xff"), "a: \"\xef\xbf\xbd\"");
}

TEST(AiTree, NullIsATilde)
{
    EXPECT_EQ(emitted(""), "~");
    EXPECT_EQ(emitted("a:\nb: ~\nc: null\nd: ''"), "a: ~\nb: ~\nc: ~\nd: \"\"");
}

TEST(AiTree, TagsAnchorsAndCommentsAreLost)
{
    EXPECT_EQ(emitted("# c\na: !!str 1 # d\nb: &x !t {c: 2}\nd: *x"),
              "a: 1\nb:\n  c: 2\nd:\n  c: 2");
}

TEST(AiTree, CollectionsAreInBlockStyle)
{
    EXPECT_EQ(emitted("[1, [2, 3], {a: 4, b: [5]}]"),
              "- 1\n-\n  - 2\n  - 3\n- a: 4\n  b:\n    - 5");
    EXPECT_EQ(emitted("{a: {}, b: []}"), "a:\n  {}\nb:\n  []");
    EXPECT_EQ(emitted("{}"), "{}");
}

TEST(AiTree, KeysAreEmittedAsText)
{
    EXPECT_EQ(emitted("z: 1\n1: 1\n'2': 1\ntrue: 1\n'a b': 1\nzwölf: 1"),
              "z: 1\n1: 1\n2: 1\ntrue: 1\na b: 1\nzwölf: 1");
    EXPECT_EQ(emitted("'a: b': 1\n'- c': 1\n'~': 1\n\"x\\ny\": 1\n~: 1"),
              "\"a: b\": 1\n\"- c\": 1\n\"~\": 1\n\"x\\ny\": 1\n\"null\": 1");
}

TEST(AiTree, AKeyThatLooksLikeADocumentBorderIsReadBack)
{
    EXPECT_EQ(emitted("'--- a': 1\n'... a': {'--- a': 2}\n'---': 3"),
              "\"--- a\": 1\n\"... a\":\n  --- a: 2\n---: 3");
    EXPECT_EQ(emitted(emitted("'--- a': 1\n'... a': {'--- a': 2}\n'---': 3")),
              "\"--- a\": 1\n\"... a\":\n  --- a: 2\n---: 3");
}

TEST(AiTree, AKeyThatIsAMapOrASequenceCannotBeEmitted)
{
    EXPECT_THROW(emitted("? [a]\n: 1"), YAML::Exception);
    EXPECT_THROW(emitted("a: {? {b: c} : 1}"), YAML::Exception);
}

TEST(AiTree, ANodeThatContainsItselfCannotBeEmitted)
{
    EXPECT_THROW(emitted("&a {b: *a}"), std::length_error);
    EXPECT_THROW(emitted("&a [1, *a, *a]"), std::length_error);
    EXPECT_THROW(emitted("a: &a {b: [{c: *a}]}"), std::length_error);
}

TEST(AiTree, AliasesOfAliasesCannotFillTheMemory)
{
    std::string yaml = "a0: &a0 [x, x, x, x, x, x, x, x, x, x]\n";
    for (int i = 1; i < 12; ++i) {
        const std::string alias = "*a" + std::to_string(i - 1);
        yaml += "a" + std::to_string(i) + ": &a" + std::to_string(i) + " [" + alias;
        for (int j = 1; j < 10; ++j) {
            yaml += ", " + alias;
        }
        yaml += "]\n";
    }
    EXPECT_THROW(emitted(yaml), std::length_error);
}

TEST(AiTree, TheDeepestTreeIsReadBackAndADeeperOneIsNotEmitted)
{
    const std::string deepest = emitted(nestedMaps(halvex::maxKeyComponents));
    EXPECT_EQ(emitted(deepest), deepest);
    EXPECT_THROW(emitted(nestedMaps(halvex::maxKeyComponents + 1)), std::length_error);
}

TEST(AiTree, TheDepthLimitIsThatOfTheYamlLibrary)
{
    const auto nested = [](int depth) {
        std::string yaml;
        for (int i = 0; i < depth; ++i) {
            yaml += std::string(std::size_t(i), ' ') + "a:\n";
        }
        return yaml + std::string(std::size_t(depth), ' ') + "x";
    };
    EXPECT_NO_THROW(YAML::Load(nested(halvex::maxKeyComponents)));
    EXPECT_THROW(YAML::Load(nested(halvex::maxKeyComponents + 1)), YAML::DeepRecursion);
    EXPECT_NO_THROW(YAML::Load(std::string(halvex::maxNodeDepth, '[') +
                               std::string(halvex::maxNodeDepth, ']')));
    EXPECT_THROW(YAML::Load(std::string(halvex::maxNodeDepth + 1, '[') +
                            std::string(halvex::maxNodeDepth + 1, ']')),
                 YAML::DeepRecursion);
}

} // namespace
