// SPDX-License-Identifier: MIT
#include "model/intervention_cases.h"

#include <QVector>

#include <initializer_list>

namespace {

using Texts = QVector<QByteArray>;

/// A literal with all its bytes, including NUL bytes.
template <std::size_t size>
QByteArray bytes(const char (&literal)[size])
{
    return {literal, static_cast<int>(size) - 1};
}

/// Joins @p parts. Every compiler evaluates random draws in braces from left to right, but not
/// those in a sum.
QByteArray inOrder(std::initializer_list<QByteArray> parts)
{
    QByteArray result;
    for (const QByteArray &part : parts) {
        result += part;
    }
    return result;
}

/// Joins @p least to @p most random elements of @p texts.
QByteArray chain(Random &random, int least, int most, const Texts &texts)
{
    QByteArray result;
    for (int count = least + random.below(most - least + 1); count > 0; --count) {
        result += random.oneOf(texts);
    }
    return result;
}

// --- names ---

const Texts multibyteCharacters{"\u00e9", "\u5757", "\U0001f600", "\U00010348"};

/// The names in a call, and other names that the call's files hold to mislead the search. All names
/// are UTF-8.
struct Names
{
    QByteArray action;
    QByteArray field;
    Texts otherActions;
    Texts otherFields;
};

QByteArray randomActionName(Random &random)
{
    static const Texts simple{"block",  "block ip", "lock", "a",     "warn",
                              "action", "\u5757",   " ",    "blöck", "\U0001f600\U0001f600"};
    static const Texts parts{"block", "a",   "\"", " ",      "#",       "# ",
                             "=",     " = ", "{",  "action", "action ", "action \"",
                             "\t",    "\\",  "é",  "\u5757", "\u5757",  "\U0001f600"};
    return random.inPercent(65) ? random.oneOf(simple) : chain(random, 1, 4, parts);
}

QByteArray randomFieldName(Random &random)
{
    static const Texts simple{"timeout", "out",  "time",       "t", "mail",      "level",
                              "x",       "тайм", "\U0001f600", "é", "mail_level"};
    static const Texts parts{"out", "time", "t",   "\"", " ",    "#",       "# ",
                             "=",   " =",   " = ", "{",  "\t",   "action ", "\"block\"",
                             "x",   "\v",   "é",   "\\", "\r\n", "\n",      "\U0001f600"};
    static const Texts almostSpecial{"blockip_timeou", "blockip_timeout ", "Blockip_timeout",
                                     " blockip_timeout", "blockip_timeoutx"};
    switch (random.weighted({65, 31, 4})) {
    case 0:
        return random.oneOf(simple);
    case 1:
        return chain(random, 1, 3, parts);
    default:
        return random.oneOf(almostSpecial);
    }
}

/// A name that is longer or shorter than @p name, or in upper case, or the unrelated @p stranger.
QByteArray relative(Random &random, const QByteArray &name, const QByteArray &stranger)
{
    switch (random.below(6)) {
    case 0:
        return name + random.oneOf(Texts{"x", " ", "2", "\"", "=", "é"});
    case 1:
        return random.oneOf(Texts{"x", " ", "_", "\"", "=", "#", "# ", "é"}) + name;
    case 2:
        return name.left(random.below(name.size() + 1));
    case 3:
        return name.right(random.below(name.size() + 1));
    case 4:
        return name.toUpper();
    default:
        return stranger;
    }
}

/// An action whose name ends in text that looks like the field. If a header contains multibyte
/// characters, the search for the field begins before the header's end, so the search can find this
/// text.
QByteArray actionNameAround(Random &random, const QByteArray &field)
{
    return inOrder({chain(random, 2, 5, multibyteCharacters),
                    random.oneOf(Texts{"", "", "# ", "x", " "}), field,
                    random.oneOf(Texts{"", " ", " =", " = ", " = 1"})});
}

Names randomNames(Random &random)
{
    Names names;
    names.field = randomFieldName(random);
    names.action =
        random.inPercent(12) ? actionNameAround(random, names.field) : randomActionName(random);
    for (int count = 0; count < 3; ++count) {
        names.otherActions += relative(random, names.action, randomActionName(random));
        names.otherFields += relative(random, names.field, randomFieldName(random));
    }
    return names;
}

// --- the intervention file ---

QByteArray fieldLine(Random &random, const QByteArray &field)
{
    static const Texts indents{"",  "",     " ",  "    ", "\t", "pre_",
                               "x", "a=b ", "= ", "\v",   "\"", ";"};
    static const Texts separators{" = ", " = ", " = ", " = ",  " =",   "= ",    " == ", "=",
                                  " : ", " ",   "",    "  = ", " =\t", " = = ", " =\v"};
    static const Texts values{"30",
                              "\"30\"",
                              "\"a\" \"b\"",
                              "",
                              "\"\"",
                              "a b",
                              "x = y",
                              "\"",
                              "v\"w\"",
                              "# no comment",
                              "\"x \"",
                              " ",
                              "  v",
                              "\U0001f600",
                              bytes("\xff\xc3"),
                              bytes("\xe2\x82"),
                              bytes("\xef\xbb\xbf"
                                    "bom"),
                              bytes("nul\0nul")};
    static const Texts ends{"", "", "", " ", "  ", "\t", " \t\r", "\r", "\v", "\f ", " }", "\" "};
    return inOrder({random.oneOf(indents), field, random.oneOf(separators), random.oneOf(values),
                    random.oneOf(ends)});
}

QByteArray headerLine(Random &random, const QByteArray &action)
{
    static const Texts indents{"", "", "", " ", "\t", "re", "} ", "x ", "action \"", bytes("\0")};
    static const Texts ends{" {", " {", "", "{", " ", "\"", " { # "};
    return inOrder({random.oneOf(indents), "action \"", action, "\"", random.oneOf(ends)});
}

QByteArray almostHeaderLine(Random &random, const QByteArray &action)
{
    const Texts lines{"Action \"" + action + "\" {", "action  \"" + action + "\" {",
                      "action\t\"" + action + '"',   "action \"" + action,
                      "action \"" + action + " \"",  "action '" + action + "'",
                      "action\"" + action + '"',     "action " + action,
                      "actio \"" + action + '"'};
    return random.oneOf(lines);
}

QByteArray commentLine(Random &random, const QByteArray &text)
{
    static const Texts beginnings{"# ", "# ", "#", " # ", "\t#", "## ", " \v\f# ", "#  ", "\r# "};
    return random.oneOf(beginnings) + text;
}

QByteArray oddLine(Random &random, const Names &names)
{
    static const Texts lines{"}",       "text", "=",         " = ",
                             "\"",      "#",    "# ",        "action \"",
                             "action ", "{",    bytes("\0"), bytes("\xc3\x28\xfe")};
    const Texts pieces{"action \"", names.action, "\"", names.field, names.field, " = ",
                       " =",        "=",          "# ", "#",         " ",         "\t",
                       "{",         "\r",         "\v", "1",         "\"a\""};
    return random.inPercent(40) ? random.oneOf(lines) : chain(random, 2, 7, pieces);
}

QByteArray interventionLine(Random &random, const Names &names)
{
    static const Texts blankLines{"", "", " ", "\t", "\v\f", "\r", " \v\t\f\r "};
    switch (random.weighted({13, 11, 4, 22, 4, 10, 5, 6, 6, 7, 3, 8})) {
    case 0:
        return headerLine(random, names.action);
    case 1:
        return headerLine(random, random.oneOf(names.otherActions));
    case 2:
        return almostHeaderLine(random, names.action);
    case 3:
        return fieldLine(random, names.field);
    case 4:
        return names.field + random.oneOf(Texts{" =", " =", " = ", " =1", " = \"\""});
    case 5:
        return fieldLine(random, random.oneOf(names.otherFields));
    case 6:
        return commentLine(random, names.field);
    case 7:
        return commentLine(random, fieldLine(random, names.field));
    case 8:
        return commentLine(random, headerLine(random, random.inPercent(50)
                                                          ? names.action
                                                          : random.oneOf(names.otherActions)));
    case 9:
        return random.oneOf(blankLines);
    case 10:
        return inOrder({headerLine(random, random.oneOf(names.otherActions)),
                        random.inPercent(50) ? headerLine(random, names.action)
                                             : fieldLine(random, names.field)});
    default:
        return oddLine(random, names);
    }
}

/// Joins lines to a file that may have line ends of another system or lack the last line feed.
QByteArray joined(Random &random, const Texts &lines)
{
    static const Texts mixedEnds{"\n", "\n", "\r\n", "\r\n", "\r", "\n\n", " \n", "\r\r\n"};
    const int style = random.weighted({60, 22, 18});
    const bool endsLast = random.inPercent(75);
    QByteArray content;
    for (int number = 0; number < lines.size(); ++number) {
        content += lines[number];
        if (number + 1 < lines.size() || endsLast) {
            content += style == 0 ? "\n" : style == 1 ? "\r\n" : random.oneOf(mixedEnds);
        }
    }
    return content;
}

/// A comment about as long as the block that Qt reads from a file at a time.
QByteArray longLine(Random &random)
{
    return "# " + QByteArray(16350 + random.below(40), 'x') + "\u5757\n";
}

QByteArray interventionFile(Random &random, const Names &names)
{
    Texts lines;
    const bool hasBoth = random.inPercent(70);
    if (random.inPercent(40)) {
        lines += interventionLine(random, names);
    }
    if (hasBoth) {
        lines += headerLine(random, names.action);
    }
    for (int count = random.below(10); count > 0; --count) {
        lines += interventionLine(random, names);
    }
    if (hasBoth) {
        const int place = 1 + random.below(lines.size());
        lines.insert(place, fieldLine(random, names.field));
    }
    const QByteArray content = joined(random, lines);
    return random.inPercent(1) ? longLine(random) + content : content;
}

QByteArray interventionValue(Random &random)
{
    static const Texts parts{
        "a",  "b", " ",          "  ",     "   ", "\"", "=",  " = ", "\n",   "\r",
        "\t", "#", "\U0001f600", "\u5757", "-1",  "30", "\\", "\v",  "900s", "action \"block\""};
    return chain(random, 0, 5, parts);
}

// --- the block-time file; all of it stays valid UTF-8 ---

QByteArray timeoutLine(Random &random)
{
    static const Texts counts{"600",
                              "600",
                              "0",
                              "00",
                              "1",
                              "007",
                              "2147483647",
                              "2147483648",
                              "4294967896",
                              "99999999999999999999",
                              "000000000000600",
                              "-5",
                              "",
                              "6 0",
                              "\u0666",
                              "6\u0661"};
    static const Texts others{"TIMEOUT=600",
                              "TIMEOUT=\"600s\"",
                              "TIMEOUT=\"timeout 600\"",
                              "TIMEOUT=\"timeout  600s\"",
                              "TIMEOUT=\"Timeout 600s\"",
                              "TIMEOUT=timeout 600s",
                              "TIMEOUT='timeout 600s'",
                              "TIMEOUT=\"\"",
                              "TIMEOUT=s",
                              "TIMEOUT==",
                              "TIMEOUT=1 TIMEOUT=\"timeout 600s\"",
                              "TIMEOUT=TIMEOUT=\"timeout 600s\"",
                              "TIMEOUT=\"timeout 600s\" # was 600",
                              "TIMEOUT=\"timeout 600s\"TIMEOUT=\"timeout 6s\"",
                              "TIMEOUT=\"timeout 600s\"\"",
                              "TIMEOUT=#"};
    static const Texts blanks{"", "", " ", "\t", " \t \v\f", "\u00a0", "\u2003", "\u3000 "};
    static const Texts pieces{
        "\"", "timeout ", "600", "6", "s",      "s\"",        " ",      "TIMEOUT=",
        "x",  "-",        "\t",  "=", "\u0666", "\U0001f600", "\u00a0", "\"timeout 600s\""};
    switch (random.weighted({45, 18, 15, 22})) {
    case 0:
        return "TIMEOUT=\"timeout " + random.oneOf(counts) + "s\"";
    case 1:
        return "TIMEOUT=" + random.oneOf(blanks);
    case 2:
        return random.oneOf(others);
    default:
        return "TIMEOUT=" + chain(random, 1, 6, pieces);
    }
}

QByteArray otherTimeLine(Random &random)
{
    static const Texts lines{"",
                             "# block time",
                             "OTHER=600",
                             " TIMEOUT=\"timeout 600s\"",
                             "timeout=\"timeout 600s\"",
                             "Timeout=600",
                             "TIMEOUT",
                             "TIMEOUT =600",
                             "XTIMEOUT=\"timeout 600s\"",
                             "#TIMEOUT=\"timeout 600s\"",
                             "TIME\rOUT=\"timeout 6s\"",
                             "\u00a0TIMEOUT=6",
                             "\U0001f600\u2028\u0085",
                             bytes("nul\0nul"),
                             " \t\v\f "};
    return random.oneOf(lines);
}

QByteArray blockTimeFile(Random &random)
{
    Texts lines;
    for (int count = random.below(4); count > 0; --count) {
        lines += otherTimeLine(random);
    }
    for (int count = random.weighted({15, 65, 12, 8}); count > 0; --count) {
        const int place = random.below(lines.size() + 1);
        lines.insert(place, timeoutLine(random));
    }
    QByteArray content = joined(random, lines);
    if (random.inPercent(2) && !content.endsWith('\r')) {
        content.prepend(longLine(random));
    }
    if (random.inPercent(3)) {
        content.prepend("\xef\xbb\xbf");
    }
    // If the whole file, or the last block that Qt reads from the file, consists of carriage
    // returns only, it depends on Qt whether that is a line. The model does not cover this, so no
    // case has such a file.
    return QByteArray(content).replace('\r', "").isEmpty() ? QByteArray() : content;
}

QByteArray timeoutValue(Random &random)
{
    static const Texts values{
        "-1",      "-1",         "",    "0s",   "900s",         "900s", "900",
        "900",     "s",          "1",   "-1s",  " -1",          "-1 ",  "--1",
        "600",     "%1",         "%1s", "\\1s", "12345678901s", "$&",   "9\U0001f600",
        "\u0669s", "\U0001f600", "é",   "6\n",  "a\nTIMEOUT=\n"};
    static const Texts parts{"9",  "0",  "s",          "-", "\"",  " ",        "%1",       "%2",
                             "\n", "\r", "\U0001f600", "=", "\\0", "TIMEOUT=", "timeout ", "600"};
    return random.inPercent(75) ? random.oneOf(values) : chain(random, 0, 4, parts);
}

} // namespace

InterventionCase randomInterventionCase(Random &random)
{
    const bool isBlockTime = random.inPercent(35);
    Names names = randomNames(random);
    if (isBlockTime) {
        names.field = "blockip_timeout";
    }
    InterventionCase drawn;
    drawn.files.intervention = interventionFile(random, names);
    drawn.files.blockTime = blockTimeFile(random);
    if (random.inPercent(3)) {
        drawn.files.intervention.reset();
    }
    if (random.inPercent(3)) {
        drawn.files.blockTime.reset();
    }
    drawn.sets = random.inPercent(60);
    drawn.files.writable = !drawn.sets || !random.inPercent(4);
    drawn.actionName = QString::fromUtf8(random.inPercent(2) ? QByteArray() : names.action);
    drawn.fieldName = QString::fromUtf8(random.inPercent(2) ? QByteArray() : names.field);
    if (drawn.sets) {
        drawn.fieldValue =
            QString::fromUtf8(isBlockTime ? timeoutValue(random) : interventionValue(random));
    } else if (random.inPercent(50)) {
        drawn.fieldValue = "untouched";
    }
    return drawn;
}

std::string escaped(const QByteArray &bytes)
{
    static const char *const digits = "0123456789abcdef";
    std::string result = "\"";
    for (const char character : bytes) {
        const auto code = static_cast<unsigned char>(character);
        if (character == '\n') {
            result += "\\n";
        } else if (character == '"' || character == '\\') {
            result += {'\\', character};
        } else if (code < 0x20 || code >= 0x7f) {
            result += {'\\', 'x', digits[code / 16], digits[code % 16]};
        } else {
            result += character;
        }
    }
    return result + '"';
}

std::string escaped(const std::optional<QByteArray> &content)
{
    return content ? escaped(*content) : "missing";
}

std::string described(const InterventionCase &drawn)
{
    return std::string(drawn.sets ? "setInterventionConfig" : "getInterventionConfig") +
           "\n  action          " + escaped(drawn.actionName.toUtf8()) + "\n  field           " +
           escaped(drawn.fieldName.toUtf8()) + "\n  value           " +
           escaped(drawn.fieldValue.toUtf8()) + "\n  intervention    " +
           escaped(drawn.files.intervention) + "\n  block time      " +
           escaped(drawn.files.blockTime) +
           (drawn.files.writable ? "\n" : "\n  neither file can be written\n");
}
