// SPDX-License-Identifier: MIT
#include "util/host_edition.h"

#include <QDebug>
#include <QRegularExpression>
#include <QString>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

namespace halvex {
namespace {

constexpr const char *osReleasePath = "/etc/os-release";
constexpr const char *buildPath = "/etc/norva-build";

bool isDecimal(const QString &text)
{
    return std::all_of(text.begin(), text.end(),
                       [](QChar character) { return character >= '0' && character <= '9'; });
}

/// Returns the first line of @p file that matches @p expression. Each byte counts as one character.
///
/// std::regex is not used, because it recurses for each character: a long line would overflow the
/// stack.
QRegularExpressionMatch firstMatch(std::ifstream &file, const QRegularExpression &expression)
{
    for (std::string line; std::getline(file, line);) {
        const auto match = expression.match(QString::fromLatin1(line.data(), int(line.size())));
        if (match.hasMatch()) {
            return match;
        }
    }
    return {};
}

std::optional<int> generationOf(int year, int month, int releaseId)
{
    const bool isFirstQuarter = month < 4;
    if (year == 2021 && month <= 7) {
        return 1;
    }
    if (year == 2022 && releaseId == 2203) {
        return isFirstQuarter ? 2 : 1;
    }
    if (year == 2023 && releaseId == 2303) {
        return isFirstQuarter ? 3 : 2;
    }
    if (year == 2024 && releaseId == 2403) {
        return isFirstQuarter ? 4 : 3;
    }
    if (year == 2025 && releaseId == 2503) {
        return isFirstQuarter ? 5 : 4;
    }
    if (year > 2025) {
        return 6;
    }
    return std::nullopt;
}

} // namespace

int hostGeneration = 0;

bool detectServerEdition()
{
    std::ifstream file(osReleasePath);
    if (!file) {
        qWarning() << "Cannot open /etc/os-release";
        return false;
    }
    std::ostringstream content;
    content << file.rdbuf();
    std::string text = content.str();
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    return text.find("server") != std::string::npos;
}

bool readReleaseId(int &id)
{
    id = 0;
    std::ifstream file(osReleasePath);
    if (!file) {
        return false;
    }
    static const QRegularExpression expression(R"re(NORVA_RELEASE_ID\s*=\s*"([^"]+)")re");
    const QString number = firstMatch(file, expression).captured(1);
    bool isNumber = false;
    id = isDecimal(number) ? number.toInt(&isNumber) : 0;
    return isNumber;
}

void classifyHostGeneration()
{
    std::ifstream file(buildPath);
    if (!file) {
        hostGeneration = 0;
        return;
    }
    int releaseId = 0;
    if (!readReleaseId(releaseId)) {
        std::puts("release id is 0");
    }
    static const QRegularExpression expression(R"re(Build\s+(\d{4})(\d{2})\d{2})re");
    const auto build = firstMatch(file, expression);
    if (!build.hasMatch()) {
        hostGeneration = 0;
        return;
    }
    const auto level =
        generationOf(build.captured(1).toInt(), build.captured(2).toInt(), releaseId);
    hostGeneration = level.value_or(hostGeneration);
}

} // namespace halvex
